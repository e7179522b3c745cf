#include "tests/harness.h"

#include <json/reader.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "dtv_manage/dtv_manage.h"
#include "platform/system_paths.h"

namespace Harness {
namespace {

namespace fs = std::filesystem;

const std::string kRoot = Cinquill::SystemPaths::kRoot;

// In memory, and one with the processes that serve requests.
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

int Run(const Request& request, const std::function<bool()>& run) {
  static std::vector<std::string> environment;  // the process keeps its variables in there
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

Journal Lines(const std::string& text) {
  Journal lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

Journal Calls() { return Lines(Content(journal)); }

Request Post(const std::string& form) {
  const std::string type = "application/x-www-form-urlencoded";
  return {{"REMOTE_USER=admin", "REQUEST_METHOD=POST", "CONTENT_TYPE=" + type,
           "CONTENT_LENGTH=" + std::to_string(form.size())},
          form};
}

bool RunDTVManage() { return Cinquill::CGI::DTVManage().Run(); }

Outcome Serve(const Request& request, int failing_call, const std::function<bool()>& run,
              bool is_forked) {
  StartJournal(failing_call);
  Fill(output, "");
  int status = 0;
  if (!is_forked) {
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
  return {status, text, is_answer ? Parse(text.substr(body)) : Json::Value(), Calls()};
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
    are_written = are_written || entry.last_write_time() != fs::file_time_type();
    fs::last_write_time(entry, {});
  }
  return are_written;
}

Json::Value Parse(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}

using Text = const char*;

// Defines the wrapper of a function: its result and symbol, its name in the journal, its parameters
// and arguments, what a failure gives, and what it gives where no program is to be started.
#define WRAP_AS(result, symbol, name, parameters, arguments, failure, ...)            \
  result __real_##symbol parameters;                                                  \
  result __wrap_##symbol parameters {                                                 \
    return Fails{name} arguments ? (failure) : __VA_ARGS__ __real_##symbol arguments; \
  }
#define WRAP(result, name, ...) WRAP_AS(result, name, #name, __VA_ARGS__)

extern "C" {

WRAP_AS(int, _ZN4TESK6WebCGI15CheckAuthorizedEv, "CheckAuthorized", (void* cgi), (cgi), -1, )
WRAP_AS(bool, _ZN4TESK10WebAPIUtil12ReadJsonFileERN4Json5ValueEPKc, "ReadJsonFile",
        (void* value, Text path), (value, path), false, )
WRAP(int, TLIBCFileGetKeyValue, (Text f, Text k, void* b, int s, int n), (f, k, b, s, n), -1, )
WRAP(int, TLIBCFileSetKeyValue, (Text f, Text k, Text v, int n), (f, k, v, n), -1, )
WRAP(int, TLIBCFileCheckKeyValue, (Text f, Text k, Text v, int n), (f, k, v, n), -1, )
WRAP(int, TLIBCProcSignalByPidFile, (Text file, int signal), (file, signal), -1, )
WRAP(int, TLIBCExec, (Text p, Text a, Text b, Text c, Text d), (p, a, b, c, d), -1,
     probe_output ? 0 :)
WRAP(void*, TLIBCSzListAlloc, (int capacity), (capacity), nullptr, )
WRAP(void, TLIBCSzListFree, (void* list), (list), void(), )
WRAP(void*, TLIBCListDBGet1, (void* db, Text name, void* r), (db, name, r), nullptr, )
WRAP(int, TESKShareGet, (Text name, void* share), (name, share), -1, )
WRAP(void, TESKShareFree, (void* share), (share), void(), )
WRAP(int, TESKShareIndexSet, (int flag, Text name), (flag, name), -1, )
WRAP(void*, TESKUserDBOpen, (), (), nullptr, )
WRAP(void, TESKUserDBClose, (void* db), (db), void(), )
WRAP(int, TESKUserEnum, (void* list, int kind), (list, kind), -1, )
WRAP(int, TESKUserGetUGID, (Text user, void* uid, void* gid), (user, uid, gid), -1, )
WRAP(int, TESKGroupIsAdminGroupMem, (Text user), (user), -1, )
WRAP(int, system, (Text command), (command), -1, probe_output ? 0 :)
WRAP(int, pclose, (FILE * stream), (stream), -1, )
// NOLINTNEXTLINE(clang-analyzer-cplusplus.InnerPointer): the text outlives its reader
WRAP(FILE*, popen, (Text command, Text mode), (command, mode), nullptr,
     probe_output ? fmemopen(probe_output->data(), probe_output->size(), mode) :)

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
  Fails{number > 0 ? "log" : "log without a line"}(priority, module, line + text);
}

}  // extern "C"

}  // namespace Harness
