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
#include <cstdio>
#include <cstdlib>
#include <memory>
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

using Cinquill::SystemPaths::kRoot;

Answers answers_;
Journal journal_;
std::string answer_;
std::map<std::string, std::string> settings_;
int lists_ = 0;

const std::vector<std::string> kSettingsFiles{Cinquill::SystemPaths::kFolderConf,
                                              Cinquill::SystemPaths::kRecordConf,
                                              Cinquill::SystemPaths::kStreamConf};

void RecordChangedFiles() {
  for (const std::string& path : kSettingsFiles) {
    const std::string content = ReadFile(path);
    if (std::exchange(settings_[path], content) != content) {
      journal_.push_back("changed " + path.substr(path.rfind('/') + 1));
    }
  }
}

// Adds a call to the journal; true when it is the one that fails.
bool Fails(std::string call) {
  RecordChangedFiles();
  const std::string root = kRoot;
  for (std::size_t at = call.find(root); at != std::string::npos; at = call.find(root)) {
    call.erase(at, root.size());
  }
  journal_.push_back(call);
  return static_cast<int>(journal_.size()) - 1 == answers_.failing_call;
}

void LimitFileSize(std::uint64_t bytes) {
  const rlimit limit{bytes, RLIM_INFINITY};
  if (bytes > 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
  }
}

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

const User* FindUser(const std::string& name) {
  for (const User& user : answers_.users) {
    if (user.name == name) {
      return &user;
    }
  }
  return nullptr;
}

struct List : TLIBCSzList {
  std::vector<std::string> items;
};

List* NewList(const std::vector<std::string>& items) {
  ++lists_;
  auto* list = new List{};
  list->items = items;
  list->count = static_cast<int>(items.size());
  return list;
}

}  // namespace

void Start(const Answers& answers) {
  answers_ = answers;
  journal_.clear();
  lists_ = 0;
  for (const std::string& path : kSettingsFiles) {
    settings_[path] = ReadFile(path);
  }
}

const Journal& Calls() { return journal_; }

const std::string& Answer() { return answer_; }

int ListsOutstanding() { return lists_; }

Outcome Perform(const Answers& answers) {
  int channel[2];
  EXPECT_EQ(pipe(channel), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    Start(answers);
    LimitFileSize(answers.file_size_limit);
    Json::Value report;
    {
      Cinquill::CGI::DTVManage handler;
      report["succeeded"] = handler.Run();
    }
    report["answer"] = answer_;
    for (const std::string& call : journal_) {
      report["journal"].append(call);
    }
    const std::string text = Compact(report);
    const bool sent =
        write(channel[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
    std::exit(sent ? 0 : 1);
  }
  close(channel[1]);
  FILE* stream = fdopen(channel[0], "r");
  std::string text;
  for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) {
    text += static_cast<char>(c);
  }
  std::fclose(stream);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "the process of the request did not end well";

  Json::Value report;
  Outcome outcome;
  std::istringstream(text) >> report;
  std::istringstream(report["answer"].asString()) >> outcome.answer;
  outcome.succeeded = report["succeeded"].asBool();
  for (const Json::Value& call : report["journal"]) {
    outcome.journal.push_back(call.asString());
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
  Fails("log " + std::to_string(priority) + " " + module + ": " + (line + length));
}

extern "C" FILE* __wrap_popen(const char* command, const char* mode) {
  if (Fails(std::string("popen ") + command + " " + mode)) {
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

extern "C" int __wrap_system(const char* command) {
  return Fails(std::string("system ") + command) ? -1 : 0;
}

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
  const auto parameter = answers_.parameters.find(name);
  return parameter == answers_.parameters.end() ? default_value : parameter->second.c_str();
}

void TESK::WebCGI::WriteHeader(const char* content_type) {
  Fails(std::string("header ") + content_type);
}

void TESK::WebCGI::WriteBody(Json::Value& body) {
  Fails("body");
  Recording::answer_ = Recording::Compact(body);
}

// ---- platform/webapi_util.h

bool TESK::WebAPIUtil::ReadJsonFile(Json::Value& value, const char* path) {
  if (Fails(std::string("read ") + path)) {
    return false;
  }
  Json::Value parsed;
  std::istringstream text(ReadFile(path));
  if (!Json::parseFromStream(Json::CharReaderBuilder(), text, &parsed, nullptr)) {
    return false;
  }
  value = parsed;
  return true;
}

// ---- platform/tlibc.h

int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flags) {
  const bool fails = Fails(std::string("get ") + file + " " + key + " " + std::to_string(flags));
  std::snprintf(buffer, static_cast<std::size_t>(size), "%s", answers_.stored_switch.c_str());
  return fails ? -1 : static_cast<int>(answers_.stored_switch.size());
}

int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int flags) {
  return Fails(std::string("set ") + file + " " + key + "=" + value + " " + std::to_string(flags))
             ? -1
             : 0;
}

int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags) {
  return Fails(std::string("check ") + file + " " + key + "=" + value + " " + std::to_string(flags))
             ? -1
             : static_cast<int>(answers_.stored_switch == value);
}

int TLIBCProcSignalByPidFile(const char* pid_file, int signal) {
  return Fails(std::string("signal ") + pid_file + " " + std::to_string(signal)) ? -1 : 0;
}

int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4) {
  return Fails(std::string("exec ") + program + " " + arg1 + " [" + arg2 + "] " + arg3 + " " + arg4)
             ? -1
             : 0;
}

TLIBCSzList* TLIBCSzListAlloc(int capacity) {
  return Fails("list_alloc " + std::to_string(capacity)) ? nullptr : Recording::NewList({});
}

const char* TLIBCSzListGet(const TLIBCSzList* list, int index) {
  return static_cast<const Recording::List*>(list)
      ->items.at(static_cast<std::size_t>(index))
      .c_str();
}

int TLIBCSzListFind(const TLIBCSzList* list, const char* item) {
  const auto& items = static_cast<const Recording::List*>(list)->items;
  const auto found = std::find(items.begin(), items.end(), item);
  return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

void TLIBCSzListFree(TLIBCSzList* list) {
  --Recording::lists_;
  delete static_cast<Recording::List*>(list);
}

TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* /*db*/, const char* name, const void* reserved) {
  EXPECT_EQ(reserved, nullptr);
  const Recording::User* user = Recording::FindUser(name);
  const bool fails = Fails(std::string("privileges ") + name);
  return fails || user->privileges.empty() ? nullptr : Recording::NewList(user->privileges);
}

int TLIBCErrGet() { return 0xAB; }

// ---- platform/tesk_share.h

int TESKShareGet(const char* name, TESKShare** share) {
  if (Fails(std::string("share_get ") + name) || std::string(name) == "gone") {
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
  return Fails("share_index_set " + std::to_string(flag) + " " + name) ? -1 : 0;
}

// ---- platform/tesk_user.h

TESKUserDB* TESKUserDBOpen() { return Fails("user_db_open") ? nullptr : new TESKUserDB{nullptr}; }

void TESKUserDBClose(TESKUserDB* db) {
  Fails("user_db_close");
  delete db;
}

// The list is replaced, as the library may do.
int TESKUserEnum(TLIBCSzList** list, int kind) {
  if (Fails("user_enum " + std::to_string(kind))) {
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
  *uid = 1000 + static_cast<std::uint32_t>(Recording::FindUser(user) - answers_.users.data());
  return Fails(std::string("id ") + user) || !Recording::FindUser(user)->has_id ? -1 : 0;
}

int TESKGroupIsAdminGroupMem(const char* user) {
  return Fails(std::string("is_admin_member ") + user)
             ? -1
             : static_cast<int>(Recording::FindUser(user)->is_admin);
}

// ---- platform/tesk_index.h

// By plain text: one path begins with the other, at the end of a component.
bool TESKIndexUtils::IsEqualOrSubPath(const std::string& path, const std::string& parent) {
  return path == parent || (!parent.empty() && path.rfind(parent + "/", 0) == 0);
}
