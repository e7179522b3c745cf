#include "tests/harness.h"

#include <json/reader.h>
#include <json/writer.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "dtv_manage/dtv_manage.h"
#include "platform/system_paths.h"

namespace Cinquill::Harness {
namespace {

namespace fs = std::filesystem;

const std::string kRoot = SystemPaths::kRoot;

// A timestamp that no test produces. Some file systems cannot store one after 2038.
const fs::file_time_type kUnwritten{std::chrono::hours(-24 * 365 * 150)};

// Outside the root, because TakeWrites() reports every file in it.
const std::string kJournal = kRoot + ".journal";
const std::string kInput = kRoot + ".input";
const std::string kOutput = kRoot + ".output";

int calls_until_failure = -1;

// A word of a journal's line; pointers are left out.
std::string Word(const char* text) { return *text == '\0' ? " []" : std::string(" ") + text; }
std::string Word(int number) { return " " + std::to_string(number); }
std::string Word(const void* /*pointer*/) { return ""; }

// Notes a call with its arguments. Returns whether this call must fail.
struct NoteCall {
  const char* name;

  template <typename... Arguments>
  bool operator()(const Arguments&... arguments) const {
    std::string call = (name + ... + Word(arguments));
    for (std::size_t at; (at = call.find(kRoot)) != std::string::npos;) {
      call.erase(at, kRoot.size());
    }
    std::ofstream(kJournal, std::ios::app) << call << "\n";
    return calls_until_failure-- == 0;
  }
};

// Must not return or throw: the child would run the remaining tests.
[[noreturn]] void RunInChild(std::vector<std::string>& variables, const Handler& run) noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  clearenv();
  for (std::string& variable : variables) {
    putenv(variable.data());
  }
  std::freopen(kInput.c_str(), "r", stdin);
  std::freopen(kOutput.c_str(), "w", stdout);
  std::exit(run() ? EXIT_SUCCESS : EXIT_FAILURE);
}

// Returns Outcome::text.
std::string Describe(int status, const std::string& out, bool has_calls) {
  const std::size_t end = out.find("\r\n\r\n");
  const std::string body = end == std::string::npos ? "\n" : out.substr(end + 4);
  const std::string whole = "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Length: " +
                            std::to_string(body.size()) + "\r\n\r\n" + body;
  if (out == whole && status == (Parse(body)["success"] == true ? EXIT_SUCCESS : EXIT_FAILURE)) {
    return body.substr(0, body.size() - 1);
  }
  if (out == "Status: 400 Bad Request\r\n" + whole && status == EXIT_FAILURE && !has_calls) {
    return "400 " + body.substr(0, body.size() - 1);
  }
  return "exit status " + std::to_string(status) + ": " + out;
}

}  // namespace

void StartJournal(int failing_call) {
  WriteFile(kJournal, "");
  calls_until_failure = failing_call;
}

std::string Journal() { return ReadFile(kJournal); }

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

bool RunDTVManage() { return CGI::DTVManage().Run(); }

Outcome Serve(const std::string& form, const std::vector<std::string>& variables, int failing_call,
              const Handler& run) {
  std::vector<std::string> all{"REMOTE_USER=admin", "REQUEST_METHOD=POST",
                               "CONTENT_TYPE=application/x-www-form-urlencoded",
                               "CONTENT_LENGTH=" + std::to_string(form.size())};
  all.insert(all.end(), variables.begin(), variables.end());
  StartJournal(failing_call);
  WriteFile(kInput, form);
  WriteFile(kOutput, "");
  std::fflush(stdout);  // or the child would print it again
  const pid_t child = fork();
  if (child == 0) {
    RunInChild(all, run);
  }
  int status = 0;
  TEMP_FAILURE_RETRY(waitpid(child, &status, 0));
  status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  const std::string text = Describe(status, ReadFile(kOutput), !Journal().empty());
  return {text, text[0] == '{' ? Parse(text) : Json::Value(), Journal()};
}

void ResetRoot() {
  fs::remove_all(kRoot);
  fs::copy(SKELETON, kRoot, fs::copy_options::recursive);
}

std::string InRoot(const std::string& path) { return kRoot + path; }

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::set<std::string> TakeWrites() {
  std::set<std::string> written;
  for (const auto& entry : fs::recursive_directory_iterator(kRoot)) {
    // A link may lead out of the root.
    if (!entry.is_symlink() && entry.last_write_time() != kUnwritten) {
      written.insert(entry.path().string().substr(kRoot.size()));
      fs::last_write_time(entry, kUnwritten);
    }
  }
  return written;
}

Json::Value Parse(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}

std::string Text(const Json::Value& value) {
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  return Json::writeString(compact, value);
}

using Chars = const char*;

// Defines the wrapper of a function: its symbol and its name in the journal, its result, parameters
// and arguments, and what a failure gives. A release is made anyway. tests/CMakeLists.txt lists the
// same symbols.
// NOLINTBEGIN(bugprone-macro-parentheses): `arguments` is a list in parentheses
#define WRAP_AS(symbol, name, result, parameters, arguments, failure)        \
  result __real_##symbol parameters;                                         \
  result __wrap_##symbol parameters {                                        \
    return NoteCall{name} arguments ? (failure) : __real_##symbol arguments; \
  }
#define WRAP(symbol, ...) WRAP_AS(symbol, #symbol, __VA_ARGS__)
// NOLINTEND(bugprone-macro-parentheses)

extern "C" {

WRAP_AS(_ZN4TESK6WebCGI15CheckAuthorizedEv, "CheckAuthorized", int, (void* cgi), (cgi), -1)
WRAP_AS(_ZN4TESK10WebAPIUtil12ReadJsonFileERN4Json5ValueEPKc, "ReadJsonFile", bool,
        (void* value, Chars path), (value, path), false)
WRAP(TLIBCFileGetKeyValue, int, (Chars f, Chars k, void* b, int s, int n), (f, k, b, s, n), -1)
WRAP(TLIBCFileSetKeyValue, int, (Chars f, Chars k, Chars v, int n), (f, k, v, n), -1)
WRAP(TLIBCFileCheckKeyValue, int, (Chars f, Chars k, Chars v, int n), (f, k, v, n), -1)
WRAP(TLIBCProcSignalByPidFile, int, (Chars file, int signal), (file, signal), -1)
WRAP(TLIBCSzListAlloc, void*, (int capacity), (capacity), nullptr)
WRAP(TLIBCSzListFree, void, (void* list), (list), __real_TLIBCSzListFree(list))
WRAP(TLIBCListDBGet1, void*, (void* db, Chars name, void* r), (db, name, r), nullptr)
WRAP(TESKShareGet, int, (Chars name, void* share), (name, share), -1)
WRAP(TESKShareFree, void, (void* share), (share), __real_TESKShareFree(share))
WRAP(TESKShareIndexSet, int, (int flag, Chars name), (flag, name), -1)
WRAP(TESKUserDBOpen, void*, (), (), nullptr)
WRAP(TESKUserDBClose, void, (void* db), (db), __real_TESKUserDBClose(db))
WRAP(TESKUserEnum, int, (void* list, int kind), (list, kind), -1)
WRAP(TESKUserGetUGID, int, (Chars user, void* uid, void* gid), (user, uid, gid), -1)
WRAP(TESKGroupIsAdminGroupMem, int, (Chars user), (user), -1)
WRAP(fgets, void*, (void* text, int size, FILE* stream), (text, size, stream), nullptr)
WRAP(pclose, int, (FILE * stream), (stream), __real_pclose(stream))
WRAP(popen, FILE*, (Chars command, Chars mode), (command, mode), nullptr)
WRAP(system, int, (Chars command), (command), -1)
WRAP(TLIBCExec, int, (Chars f, Chars a, Chars b, Chars c, Chars d), (f, a, b, c, d), -1)

void __wrap_syslog(int priority, const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  const std::string level = priority == LOG_ERR    ? "error "
                            : priority == LOG_INFO ? "info "
                                                   : std::to_string(priority) + " ";
  const std::string text =
      std::regex_replace(line, std::regex("^([a-z_]+):[1-9][0-9]* "), level + "$1: ");
  NoteCall{"syslog"}(text.c_str());
}

}  // extern "C"

}  // namespace Cinquill::Harness
