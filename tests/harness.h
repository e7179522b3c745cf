// Serves requests by the real handler on the stand-in, below the root of the build, and keeps a
// journal. The linker puts wrappers (--wrap) around the platform's calls, the log, popen() and
// system(). Each notes the call and then makes it, or fails in its place.
#ifndef TESTS_HARNESS_H_
#define TESTS_HARNESS_H_

#include <json/value.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Harness {

// The journal: a line for each call, in order, as in "TESKShareIndexSet 1 video": the function, and
// the numbers and texts that it gets, paths without the root, an empty text as []. A message of the
// log is noted as in "syslog error dtv_manage: Failed to popen".
std::string Journal();

// Starts a journal. The call at the index `failing_call` of it fails.
void StartJournal(int failing_call = -1);

// The messages of the log in a journal, a line for each, as in "error dtv_manage: Failed to popen".
std::string Logged(const std::string& journal);

std::vector<std::string> Lines(const std::string& text);

struct Request {
  std::vector<std::string> environment;
  std::string input{};
};

// A form that the administrator posts.
Request Post(const std::string& form);

struct Outcome {
  int status;  // exit status; -1 when a signal ended the process
  std::string output;
  Json::Value answer;  // null when the body is no JSON
  std::string journal;
};

// Serves one request and returns whether it succeeded.
using Handler = std::function<bool()>;

bool RunDTVManage();

// Where a request is served: in a process of its own, as in life, or in this process. This one gets
// the request's environment, input and output then, and a malformed request ends it.
enum class Where { kOwnProcess, kHere };

Outcome Serve(const Request& request, int failing_call = -1, const Handler& run = RunDTVManage,
              Where where = Where::kOwnProcess);

// The lines of a text that another text lacks, each behind `words`.
std::string Missing(const std::string& text, const std::string& other, const std::string& words);

// A course of calls: the journal, and in lines what came of it.
struct Course {
  std::string journal;
  std::string result;
};

// Each call of a course in its order, below it what differs from the usual course when the call
// fails, and last the usual result. A release cannot fail.
std::string WithEachFailure(const std::function<Course(int failing_call)>& perform);

// When it is set, no program is started: the probe prints this text, and the others succeed.
extern std::optional<std::string> probe_output;

// Makes the root anew from the skeleton.
void ResetRoot();

// The content of a file; empty when there is no such file.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// True after any write below the root since the last call, even of equal content; resets.
bool TakeWrites();

// The value of a JSON text; throws on any other text.
Json::Value Parse(const std::string& text);

// The value as JSON in one line.
std::string Text(const Json::Value& value);

}  // namespace Harness

#endif  // TESTS_HARNESS_H_
