#include "tests/recording_platform.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "dtv_manage/dtv_manage.h"
#include "platform/system_paths.h"
#include "platform/tesk_index.h"
#include "platform/tesk_share.h"
#include "platform/tesk_user.h"
#include "platform/tlibc.h"
#include "platform/webapi_util.h"
#include "platform/webcgi.h"
#include "tests/test_root.h"

namespace Recording {
namespace {

namespace Paths = Cinquill::SystemPaths;

Answers answers_;
std::map<std::string, std::string> parameters_;
Journal journal_;
std::string answer_;
std::map<std::string, std::string> settings_;
int lists_ = 0;

// Tells which settings files are other than they were.
std::vector<std::string> ChangedFiles() {
  std::vector<std::string> changed;
  for (const std::string path : {Paths::kFolderConf, Paths::kRecordConf, Paths::kStreamConf}) {
    const std::string content = ReadFile(path);
    if (std::exchange(settings_[path], content) != content) {
      changed.push_back("changed " + path.substr(path.rfind('/') + 1));
    }
  }
  return changed;
}

// Adds a call to the journal, its words joined by blanks; true when it is the one that fails.
template <typename... Words>
bool Fails(const Words&... words) {
  std::ostringstream joined;
  ((joined << ' ' << words), ...);
  std::string call = joined.str().substr(1);
  for (std::size_t at; (at = call.find(Paths::kRoot)) != std::string::npos;) {
    call.erase(at, std::strlen(Paths::kRoot));
  }
  for (const std::string& change : ChangedFiles()) {
    journal_.push_back(change);
  }
  journal_.push_back(call);
  return static_cast<int>(journal_.size()) - 1 == answers_.failing_call;
}

const User& FindUser(const std::string& name) {
  return *std::find_if(answers_.users.begin(), answers_.users.end(),
                       [&](const User& user) { return user.name == name; });
}

struct List : TLIBCSzList {
  std::vector<std::string> items;
};

const List& Full(const TLIBCSzList* list) { return *static_cast<const List*>(list); }

List* NewList(const std::vector<std::string>& items) {
  ++lists_;
  auto* list = new List{};
  list->items = items;
  list->count = static_cast<int>(items.size());
  return list;
}

void LimitFileSize(std::uint64_t bytes) {
  const rlimit limit{bytes, RLIM_INFINITY};
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
}

// What the process of a request ends with; a sanitizer ends it with 1.
constexpr int kSucceeded = 10;
constexpr int kFailed = 11;

const std::string kJournalFile = std::string(Paths::kRoot) + "/journal";
const std::string kAnswerFile = std::string(Paths::kRoot) + "/answer";

[[noreturn]] void PerformAndExit(const Answers& answers) {
  Start(answers);
  if (answers.file_size_limit > 0) {
    LimitFileSize(answers.file_size_limit);
  }
  const bool succeeded = Cinquill::CGI::DTVManage().Run();
  std::ofstream file(kJournalFile);
  for (const std::string& call : journal_) {
    file << call << '\n';
  }
  file.close();
  WriteFile(kAnswerFile, answer_);
  std::exit(succeeded ? kSucceeded : kFailed);
}

}  // namespace

void Start(const Answers& answers) {
  answers_ = answers;
  parameters_.clear();
  std::istringstream request(answers.request);
  for (std::string field; std::getline(request, field, '&');) {
    parameters_[field.substr(0, field.find('='))] = field.substr(field.find('=') + 1);
  }
  ChangedFiles();
  journal_.clear();
  lists_ = 0;
}

const Journal& Calls() { return journal_; }

const std::string& Answer() { return answer_; }

int ListsOutstanding() { return lists_; }

Outcome Perform(const Answers& answers) {
  std::remove(kAnswerFile.c_str());
  const pid_t child = fork();
  if (child == 0) {
    PerformAndExit(answers);
  }
  int status = 0;
  waitpid(child, &status, 0);
  Outcome outcome;
  outcome.succeeded = status == W_EXITCODE(kSucceeded, 0);
  EXPECT_TRUE(outcome.succeeded || status == W_EXITCODE(kFailed, 0)) << "it did not end well";
  outcome.answer = Parse(ReadFile(kAnswerFile));
  std::ifstream file(kJournalFile);
  for (std::string call; std::getline(file, call);) {
    outcome.journal.push_back(call);
  }
  return outcome;
}

}  // namespace Recording

using Recording::answers_;
using Recording::Fails;

// ---- The C library

extern "C" void __wrap_syslog(int priority, const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  char module[32] = "";
  int number = 0;
  int length = 0;
  EXPECT_EQ(std::sscanf(line, "%31[a-z_]:%d %n", module, &number, &length), 2) << line;
  EXPECT_GT(number, 0);
  Fails("log", priority, std::string(module) + ":", line + length);
}

extern "C" FILE* __wrap_popen(const char* command, const char* mode) {
  if (Fails("popen", command, mode)) {
    return nullptr;
  }
  FILE* output = std::tmpfile();
  std::fwrite(answers_.probe_output.data(), 1, answers_.probe_output.size(), output);
  std::rewind(output);
  return output;
}

extern "C" int __wrap_pclose(FILE* stream) {
  Fails("pclose");
  return std::fclose(stream);
}

extern "C" int __wrap_system(const char* command) { return Fails("system", command) ? -1 : 0; }

// ---- platform/webcgi.h

struct TESK::WebCGI::Request {};

TESK::WebCGI::WebCGI(const char* session, bool check_session) {
  EXPECT_STREQ(session, "");
  EXPECT_TRUE(check_session);
}
TESK::WebCGI::~WebCGI() = default;

int TESK::WebCGI::CheckAuthorized() { return Fails("check_authorized") ? -1 : answers_.session; }

int TESK::WebCGI::IsAdmin() const { return Fails("is_admin") ? 0 : answers_.administrator; }

const char* TESK::WebCGI::In(const char* name, const char* default_value) {
  const auto parameter = Recording::parameters_.find(name);
  return parameter == Recording::parameters_.end() ? default_value : parameter->second.c_str();
}

void TESK::WebCGI::WriteHeader(const char* content_type) { Fails("header", content_type); }

void TESK::WebCGI::WriteBody(Json::Value& body) {
  Fails("body");
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  Recording::answer_ = Json::writeString(compact, body);
}

// ---- platform/webapi_util.h

bool TESK::WebAPIUtil::ReadJsonFile(Json::Value& value, const char* path) {
  Json::Value parsed;
  std::istringstream text(ReadFile(path));
  if (Fails("read", path) ||
      !Json::parseFromStream(Json::CharReaderBuilder(), text, &parsed, nullptr)) {
    return false;
  }
  value = parsed;
  return true;
}

// ---- platform/tlibc.h

int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flags) {
  std::snprintf(buffer, static_cast<std::size_t>(size), "%s", answers_.stored_switch.c_str());
  return Fails("get", file, key, size, flags) ? -1
                                              : static_cast<int>(answers_.stored_switch.size());
}

int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int flags) {
  return Fails("set", file, key, value, flags) ? -1 : 1;
}

int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags) {
  return Fails("check", file, key, value, flags) ? -1 : int{answers_.stored_switch == value};
}

int TLIBCProcSignalByPidFile(const char* pid_file, int signal) {
  return Fails("signal", pid_file, signal) ? -1 : 0;
}

int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4) {
  return Fails("exec", program, arg1, std::string("[") + arg2 + "]", arg3, arg4) ? 2 : 0;
}

TLIBCSzList* TLIBCSzListAlloc(int capacity) {
  return Fails("list_alloc", capacity) ? nullptr : Recording::NewList({});
}

const char* TLIBCSzListGet(const TLIBCSzList* list, int index) {
  return Recording::Full(list).items.at(static_cast<std::size_t>(index)).c_str();
}

int TLIBCSzListFind(const TLIBCSzList* list, const char* item) {
  const auto& items = Recording::Full(list).items;
  const auto found = std::find(items.begin(), items.end(), item);
  return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

void TLIBCSzListFree(TLIBCSzList* list) {
  --Recording::lists_;
  delete static_cast<Recording::List*>(list);
}

TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* /*db*/, const char* name, const void* reserved) {
  EXPECT_EQ(reserved, nullptr);
  const auto& privileges = Recording::FindUser(name).privileges;
  return Fails("privileges", name) || privileges.empty() ? nullptr : Recording::NewList(privileges);
}

int TLIBCErrGet() { return 0xAB; }

// ---- platform/tesk_share.h

int TESKShareGet(const char* name, TESKShare** share) {
  if (Fails("share_get", name) || std::string(name) == "gone") {
    return -1;
  }
  *share = new TESKShare{strdup((std::string("/volume1/") + name).c_str())};
  return 0;
}

void TESKShareFree(TESKShare* share) {
  Fails("share_free");
  std::free(share->path);
  delete share;
}

int TESKShareIndexSet(int flag, const char* name) {
  return Fails("share_index_set", flag, name) ? -1 : 1;
}

// ---- platform/tesk_user.h

TESKUserDB* TESKUserDBOpen() { return Fails("user_db_open") ? nullptr : new TESKUserDB{nullptr}; }

void TESKUserDBClose(TESKUserDB* db) {
  Fails("user_db_close");
  delete db;
}

// The list is replaced, as the library may do.
int TESKUserEnum(TLIBCSzList** list, int kind) {
  if (Fails("user_enum", kind)) {
    return -1;
  }
  std::vector<std::string> names;
  for (const Recording::User& user : answers_.users) {
    names.push_back(user.name);
  }
  TLIBCSzListFree(*list);
  *list = Recording::NewList(names);
  return 0;
}

int TESKUserGetUGID(const char* user, std::uint32_t* uid, std::uint32_t* gid) {
  EXPECT_EQ(gid, nullptr);
  *uid = 1000 + static_cast<std::uint32_t>(&Recording::FindUser(user) - answers_.users.data());
  return Fails("id", user) || !Recording::FindUser(user).has_id ? -1 : 0;
}

int TESKGroupIsAdminGroupMem(const char* user) {
  return Fails("is_admin_member", user) ? -1 : int{Recording::FindUser(user).is_admin};
}

// ---- platform/tesk_index.h

// By plain text: one path begins with the other, at the end of a component.
bool TESKIndexUtils::IsEqualOrSubPath(const std::string& path, const std::string& parent) {
  return path == parent || (!parent.empty() && path.rfind(parent + "/", 0) == 0);
}
