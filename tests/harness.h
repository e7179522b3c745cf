// Serves requests by the real handler on the stand-in, below the root of the build, and keeps a
// journal. The linker leads the platform's calls, the log, popen() and system() through wrappers
// (--wrap) that note each call and then make it, or fail in its place.
#ifndef TESTS_HARNESS_H_
#define TESTS_HARNESS_H_

#include <json/value.h>
#include <json/writer.h>  // prints a value where a test compares two

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Harness {

// Calls in their order, as in "TESKShareIndexSet 1 video": the function and the numbers and texts
// that it gets, paths without the root, an empty text as []. Of the log "PRIORITY MODULE: MESSAGE".
using Journal = std::vector<std::string>;

// The journal that a text holds.
Journal Lines(const std::string& text);

// Starts a journal. The call at the index `failing_call` of it fails.
void StartJournal(int failing_call = -1);
Journal Calls();

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
  Journal journal;
};

bool RunDTVManage();

// Serves a request in a process of its own, as in life, or else in this one, which then gets the
// request's environment, input and output, and which a malformed request ends.
Outcome Serve(const Request& request, int failing_call = -1,
              const std::function<bool()>& run = RunDTVManage, bool is_forked = true);

// Where set, no program is started: the probe prints this, and the others succeed.
extern std::optional<std::string> probe_output;

// Makes the root anew from the skeleton.
void ResetRoot();

// The content of a file; empty where there is none.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// Whether a file was made or written, be it with what it held, since the last call; forgets it.
bool TakeWrites();

// The value of a JSON text; throws on any other.
Json::Value Parse(const std::string& text);

}  // namespace Harness

#endif  // TESTS_HARNESS_H_
