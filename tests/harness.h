// Serves requests with the real handler on the stand-in, below the root of the build, and keeps a
// journal of their calls. The linker puts wrappers (--wrap) around most of the platform's calls,
// the log, popen(), fgets(), pclose() and system(). A wrapper notes the call, and then makes it or
// fails. tests/CMakeLists.txt lists the functions.
#ifndef TESTS_HARNESS_H_
#define TESTS_HARNESS_H_

#include <json/value.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace Cinquill::Harness {

// The journal: a line for each call, in order, such as "TESKShareIndexSet 1 video". It has the
// function, its numbers and its texts; paths lack the root, and an empty text is []. A line of the
// log is "syslog error dtv_manage: Failed to popen".
std::string Journal();

// Starts a journal. The call at the index `failing_call` fails.
void StartJournal(int failing_call = -1);

std::vector<std::string> Lines(const std::string& text);

struct Outcome {
  // The JSON of the answer, or "400 REASON" of a request that was refused before any call. When
  // anything around these is wrong (status, headers, length): "exit status N: " and the output. The
  // status is negative when a signal ended the process.
  std::string text;
  Json::Value answer;  // null unless the text is JSON
  std::string journal;
};

// Serves one request and returns whether it succeeded.
using Handler = std::function<bool()>;

bool RunDTVManage();

// Posts `form` as the administrator. `variables` ("NAME=VALUE") override the environment. The
// request is served in a new process, because the flags of the handler's caches outlive the
// handler. An exception ends that process with a message on standard error.
Outcome Serve(const std::string& form, const std::vector<std::string>& variables = {},
              int failing_call = -1, const Handler& run = RunDTVManage);

// Replaces the root by a copy of the skeleton.
void ResetRoot();

// A path below the stand-in's root.
std::string InRoot(const std::string& path);

// The content of a file; empty when there is no such file.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// The files and folders, without the root, that were written since the last call, even with equal
// content. A folder is written when an entry is added or removed.
std::set<std::string> TakeWrites();

// The value of a JSON text; throws on any other text.
Json::Value Parse(const std::string& text);

// The value as JSON in one line.
std::string Text(const Json::Value& value);

}  // namespace Cinquill::Harness

#endif  // TESTS_HARNESS_H_
