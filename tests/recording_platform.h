// A platform for the modules that keeps a journal of all calls, in order, and can let one of them
// fail. Paths stand in the journal without the root. Besides the platform's own calls it records
// the log, popen, pclose and system, and, before the next call, which settings files have changed.
#ifndef TESTS_RECORDING_PLATFORM_H_
#define TESTS_RECORDING_PLATFORM_H_

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Recording {

using Journal = std::vector<std::string>;

struct User {
  std::string name;
  std::vector<std::string> privileges;  // none: the store knows nothing of the user
  bool is_admin = false;
  bool has_id = true;
};

// What the platform answers.
struct Answers {
  std::string request;  // "name=value&name=value", nothing encoded
  int session = 1;
  int administrator = 1;
  std::string stored_switch;  // empty: none is stored
  std::string probe_output = "no\n";
  std::vector<User> users;
  int failing_call = -1;              // index in the journal of the call that fails
  std::uint64_t file_size_limit = 0;  // Perform(): no file grows beyond, as on a full disk
};

struct Outcome {
  bool succeeded = false;
  Json::Value answer;
  Journal journal;
};

// Serves one request by DTVManage, in a process of its own as in life. The settings files are those
// below the root.
Outcome Perform(const Answers& answers);

// For tests that call a module themselves: starts a journal, and gives what it holds so far.
void Start(const Answers& answers);
const Journal& Calls();

// The answer that was written, as compact JSON.
const std::string& Answer();

// String lists that were handed out and not released.
int ListsOutstanding();

}  // namespace Recording

#endif  // TESTS_RECORDING_PLATFORM_H_
