#include "tests/harness.h"

#include <json/reader.h>
#include <json/writer.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "dtv_manage/dtv_manage.h"
#include "platform/system_paths.h"

namespace Harness {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const std::string kRoot = Cinquill::SystemPaths::kRoot;
const std::string kLogged = "syslog ";  // begins the lines of the log in a journal

// In memory, and shared with the processes that serve requests.
const int journal = memfd_create("journal", 0);
const int input = memfd_create("input", 0);
const int output = memfd_create("output", 0);

int calls_until_failure = -1;

// A word of a journal's line; pointers say nothing.
std::string Word(const char* text) { return *text == '\0' ? " []" : std::string(" ") + text; }
std::string Word(int number) { return " " + std::to_string(number); }
std::string Word(const void* /*pointer*/) { return ""; }

// A call by its name: notes it with its arguments; true when it is the one that fails.
struct Fails {
  const char* name;

  template <typename... Arguments>
  bool operator()(const Arguments&... arguments) const {
    std::string call = (name + ... + Word(arguments));
    for (std::size_t at; (at = call.find(kRoot)) != std::string::npos;) {
      call.erase(at, kRoot.size());
    }
    dprintf(journal, "%s\n", call.c_str());
    return calls_until_failure-- == 0;
  }
};

void Fill(int file, const std::string& text) {
  ftruncate(file, 0);
  pwrite(file, text.data(), text.size(), 0);
  lseek(file, 0, SEEK_SET);
}

std::string Content(int file) {
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  pread(file, text.data(), text.size(), 0);
  return text;
}

int Run(const Request& request, const Handler& run) {
  static std::vector<std::string> environment;  // holds the process's variables
  environment = request.environment;
  clearenv();
  for (std::string& variable : environment) {
    putenv(variable.data());
  }
  Fill(input, request.input);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  return run() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

std::optional<std::string> probe_output;

void StartJournal(int failing_call) {
  Fill(journal, "");
  calls_until_failure = failing_call;
}

std::string Journal() { return Content(journal); }

std::string Logged(const std::string& journal_text) {
  std::string logged;
  for (const std::string& line : Lines(journal_text)) {
    logged += line.rfind(kLogged, 0) == 0 ? line.substr(kLogged.size()) + "\n" : "";
  }
  return logged;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

Request Post(const std::string& form) {
  const std::string type = "application/x-www-form-urlencoded";
  return {{"REMOTE_USER=admin", "REQUEST_METHOD=POST", "CONTENT_TYPE=" + type,
           "CONTENT_LENGTH=" + std::to_string(form.size())},
          form};
}

bool RunDTVManage() { return Cinquill::CGI::DTVManage().Run(); }

Outcome Serve(const Request& request, int failing_call, const Handler& run, Where where) {
  StartJournal(failing_call);
  Fill(output, "");
  std::fflush(stdout);  // or a forked process would print what waits, too
  int status = 0;
  if (where == Where::kHere) {
    status = Run(request, run);
  } else if (const pid_t child = fork(); child == 0) {
    std::exit(Run(request, run));
  } else {
    waitpid(child, &status, 0);
    status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  const std::string text = Content(output);
  const std::size_t body = text.find("\r\n\r\n{");
  const bool is_answer = body == text.rfind("\r\n\r\n") && text.rfind("Content-Type: ", 0) == 0;
  return {status, text, is_answer ? Parse(text.substr(body)) : Json::Value(), Journal()};
}

std::string Missing(const std::string& text, const std::string& other, const std::string& words) {
  std::vector<std::string> others = Lines(other);
  std::string missing;
  for (const std::string& line : Lines(text)) {
    const auto same = std::find(others.begin(), others.end(), line);
    if (same == others.end()) {
      missing += words + line + "\n";
    } else {
      others.erase(same);
    }
  }
  return missing;
}

std::string WithEachFailure(const std::function<Course(int failing_call)>& perform) {
  const std::set<std::string> releases{"TESKShareFree", "TESKUserDBClose", "TLIBCSzListFree",
                                       "pclose"};
  const std::string when = "  when it fails: ";
  const Course usual = perform(-1);
  const std::vector<std::string> calls = Lines(usual.journal);
  std::string text;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    text += calls[i] + "\n";
    const Course course = releases.count(calls[i]) == 1 ? usual : perform(static_cast<int>(i));
    const std::string lacks = Missing(usual.journal, course.journal, when + "does not call ");
    const bool is_ended = !lacks.empty() && Lines(lacks).size() == calls.size() - i - 1;
    text += Missing(course.journal, usual.journal, when + "calls also ") +
            (is_ended ? when + "calls nothing more\n" : lacks) +
            Missing(course.result, usual.result, when);
  }
  return text + Missing(usual.result, "", "when nothing fails: ");
}

void ResetRoot() {
  fs::remove_all(kRoot);
  fs::copy(SKELETON, kRoot, fs::copy_options::recursive);
}

std::string ReadFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

bool TakeWrites() {
  bool are_written = false;
  for (const auto& entry : fs::recursive_directory_iterator(kRoot)) {
    if (!entry.is_symlink()) {  // a link may lead out of the root
      are_written = are_written || entry.last_write_time() != fs::file_time_type();
      fs::last_write_time(entry, {});
    }
  }
  return are_written;
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
// and arguments, and what a failure gives. tests/CMakeLists.txt reads the symbols of all wrappers
// from this file: the linker wraps these.
// NOLINTBEGIN(bugprone-macro-parentheses): `arguments` is a list in parentheses
#define WRAP_AS(symbol, name, result, parameters, arguments, failure)     \
  result __real_##symbol parameters;                                      \
  result __wrap_##symbol parameters {                                     \
    return Fails{name} arguments ? (failure) : __real_##symbol arguments; \
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
WRAP(TLIBCSzListFree, void, (void* list), (list), void())
WRAP(TLIBCListDBGet1, void*, (void* db, Chars name, void* r), (db, name, r), nullptr)
WRAP(TESKShareGet, int, (Chars name, void* share), (name, share), -1)
WRAP(TESKShareFree, void, (void* share), (share), void())
WRAP(TESKShareIndexSet, int, (int flag, Chars name), (flag, name), -1)
WRAP(TESKUserDBOpen, void*, (), (), nullptr)
WRAP(TESKUserDBClose, void, (void* db), (db), void())
WRAP(TESKUserEnum, int, (void* list, int kind), (list, kind), -1)
WRAP(TESKUserGetUGID, int, (Chars user, void* uid, void* gid), (user, uid, gid), -1)
WRAP(TESKGroupIsAdminGroupMem, int, (Chars user), (user), -1)
WRAP(pclose, int, (FILE * stream), (stream), -1)

int __real_TLIBCExec(Chars program, Chars a, Chars b, Chars c, Chars d);
int __wrap_TLIBCExec(Chars program, Chars a, Chars b, Chars c, Chars d) {
  if (Fails{"TLIBCExec"}(program, a, b, c, d)) {
    return -1;
  }
  return probe_output ? 0 : __real_TLIBCExec(program, a, b, c, d);
}

int __real_system(Chars command);
int __wrap_system(Chars command) {
  if (Fails{"system"}(command)) {
    return -1;
  }
  return probe_output ? 0 : __real_system(command);
}

FILE* __real_popen(Chars command, Chars mode);
FILE* __wrap_popen(Chars command, Chars mode) {
  if (Fails{"popen"}(command, mode)) {
    return nullptr;
  }
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.InnerPointer): the text outlives its reader
  return probe_output ? fmemopen(probe_output->data(), probe_output->size(), mode)
                      : __real_popen(command, mode);
}

void __wrap_syslog(int priority, const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  char module[32] = "";
  int number = 0;
  int text = 0;
  std::sscanf(line, "%31[a-z_]:%d %n", module, &number, &text);
  const std::map<int, Chars> levels{{LOG_ERR, "error"}, {LOG_INFO, "info"}};
  const std::string place = module + (number > 0 ? ":"s : " without a line:"s);
  Fails{"syslog"}(levels.at(priority), place.c_str(), line + text);
}

}  // extern "C"

}  // namespace Harness
