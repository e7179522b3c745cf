#include "dtv_manage/dtv_manage.h"

#include <syslog.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "platform/system_paths.h"
#include "platform/tesk_share.h"
#include "platform/tlibc.h"
#include "platform/webapi_util.h"
#include "video_folders/video_folders.h"

namespace Cinquill::CGI {
namespace {

constexpr char kModule[] = "dtv_manage";

constexpr char kYes[] = "yes";
constexpr char kNo[] = "no";
constexpr char kTrue[] = "true";
constexpr char kFalse[] = "false";

// Names of parameters, and of members of the answer and the settings files.
constexpr char kCloseStreaming[] = "closestreaming";
constexpr char kPreRecording[] = "pre_recording";
constexpr char kPostRecording[] = "post_recording";
constexpr char kEnableAuth[] = "enableauth";
constexpr char kEnableViewerLimit[] = "enable_viewer_limit";
constexpr char kAccount[] = "account";
constexpr char kPasswd[] = "passwd";
constexpr char kPasswordConfirm[] = "password_confirm";
constexpr char kDisableDTV[] = "disable_dtv";
// The only setting whose name in the request differs from its name in the file.
constexpr char kStreamingLimit[] = "streaming_limit";
constexpr char kStoredStreamingLimit[] = "streaminglimit";

// Load returns these in place of the password. A save that sends them back keeps the password.
constexpr char kPasswdPlaceholder[] = "24681357";
constexpr char kConfirmPlaceholder[] = "75318642";

constexpr int kProbeLineSize = 16;
constexpr int kStoredSwitchSize = 32;
// At an empty root the longest command has 65 characters; the rest of the 128 bytes is spare.
constexpr int kControlCommandSize = 128 + sizeof(SystemPaths::kRoot) - 1;

// On purpose these belong to the process: a file is read once, also if that fails. A second handler
// would see empty documents.
bool record_conf_read = false;
bool stream_conf_read = false;

const char* YesOrNo(const std::string& parameter) { return parameter == kTrue ? kYes : kNo; }

// Converts like strtol() with a long of 32 bits: a number out of range becomes the nearest limit.
int ParseInt(const char* text) {
  constexpr long kMin = std::numeric_limits<int>::min();
  constexpr long kMax = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), kMin, kMax));
}

bool IsStoredYes(const Json::Value& document, const char* member) {
  return StringMember(document, member) == kYes;
}

// Returns a member as an integer, or 0 if it is absent or does not convert.
int IntMember(const Json::Value& document, const char* member) {
  const Json::Value& value = document[member];
  return value.isConvertibleTo(Json::intValue) ? value.asInt() : 0;
}

bool IsNewPassword(const std::string& passwd, const std::string& password_confirm) {
  return !passwd.empty() && passwd != kPasswdPlaceholder && password_confirm != kConfirmPlaceholder;
}

void ReadObjectOnce(Json::Value& document, bool& was_read, const char* path) {
  if (was_read) {
    return;
  }
  was_read = true;
  TESK::WebAPIUtil::ReadJsonFile(document, path);
  if (!document.isObject()) {
    document = Json::Value();
  }
}

}  // namespace

bool DTVManage::Process() {
  const std::string action = In("action", "");
  if (action == "load") {
    return Load();
  }
  if (action == "save") {
    return SaveAll();
  }
  return false;
}

bool DTVManage::Load() {
  Json::Value settings;
  const Json::Value folders = LoadFolderConf();
  const Json::Value& stream = GetStreamConfig();
  const Json::Value& record = GetRecordConfig();

  // Each group's defaults depend on the other group's file, on purpose.
  const bool shows_stored_options = !stream.isNull();
  settings[kCloseStreaming] = shows_stored_options && IsStoredYes(record, kCloseStreaming);
  settings[kPreRecording] = shows_stored_options ? IntMember(record, kPreRecording) : 180;
  settings[kPostRecording] = shows_stored_options ? IntMember(record, kPostRecording) : 120;

  const bool shows_stored_access = !record.isNull();
  settings[kEnableAuth] = shows_stored_access && IsStoredYes(stream, kEnableAuth);
  if (shows_stored_access) {
    settings[kAccount] = stream[kAccount];
    settings[kPasswd] = kPasswdPlaceholder;
    settings[kPasswordConfirm] = kConfirmPlaceholder;
  }
  settings[kEnableViewerLimit] = shows_stored_access && IsStoredYes(stream, kEnableViewerLimit);
  settings[kStreamingLimit] = shows_stored_access ? IntMember(stream, kStoredStreamingLimit) : 1;

  const Json::Value folder = GetRecordFolder(folders);
  settings["dtv_destination"] =
      BuildFolderPath(StringMember(folder, kShare), StringMember(folder, kSubpath));

  // An error (a negative result) also shows as switched off.
  settings[kDisableDTV] =
      TLIBCFileCheckKeyValue(SystemPaths::kDTVSettingConf, kDisableDTV, kYes, 0) != 0;
  settings["DVB_conflict"] = CheckDVBConflict();
  SetData(settings);
  return true;
}

bool DTVManage::SaveAll() {
  return SaveRecordDestination() && SaveRecordOptions() && SaveStreamAccess() && SaveDTVSwitch();
}

bool DTVManage::SaveRecordDestination() {
  const Json::Value folder = BuildRecordFolder();
  if (folder.isNull()) {
    return true;
  }
  const std::string share = StringMember(folder, kShare);
  const std::string subpath = StringMember(folder, kSubpath);

  Json::Value folders = LoadFolderConf();
  const Json::Value current = GetRecordFolder(folders);
  const bool has_current = !current.isNull();
  const std::string current_share = StringMember(current, kShare);
  const std::string current_subpath = StringMember(current, kSubpath);
  if (has_current && current_share == share && current_subpath == subpath) {
    return true;
  }

  // The old record must not conflict with the new one: a destination may move inside itself.
  if (has_current) {
    RemoveFolder(folders, current_share, current_subpath);
  }
  if (HasFolderConflict(folders, share, subpath)) {
    SetErrorInfo(kErrorSection, "error_duplicate_path");
    syslog(LOG_ERR, "%s:%d record folder conflicts", kModule, __LINE__);
    return false;
  }
  AddFolderIfNoConflict(folders, folder);  // repeats the test, on purpose, and cannot refuse now
  if (!SaveFolderConf(folders)) {
    syslog(LOG_ERR, "%s:%d Failed to save folder conf", kModule, __LINE__);
    return false;
  }

  if (has_current) {
    RunIndexTool(GetFolderRealPath(current_share, current_subpath), kIndexRemove);
  }
  if (TESKShareIndexSet(1, share.c_str()) < 0) {
    syslog(LOG_ERR, "%s:%d Failed to share index set", kModule, __LINE__);
    return false;
  }
  SignalIndexDaemons(true);
  RunIndexTool(GetFolderRealPath(share, subpath), kIndexAdd);
  return true;
}

bool DTVManage::SaveRecordOptions() {
  const char* close_streaming = YesOrNo(In(kCloseStreaming, kFalse));
  const int pre_recording = ParseInt(In(kPreRecording, "0"));
  const int post_recording = ParseInt(In(kPostRecording, "0"));

  const Json::Value& stored = GetRecordConfig();
  Json::Value record = stored;
  record[kCloseStreaming] = close_streaming;
  record[kPreRecording] = pre_recording;
  record[kPostRecording] = post_recording;
  if (record == stored) {
    return true;
  }
  if (!WriteJsonFile(SystemPaths::kRecordConf, record)) {
    // The same text for three files, on purpose: the line number tells them apart.
    syslog(LOG_ERR, "%s:%d Failed to save folder conf", kModule, __LINE__);
    return false;
  }
  return true;
}

bool DTVManage::SaveStreamAccess() {
  const char* enable_auth = YesOrNo(In(kEnableAuth, kFalse));
  const char* enable_viewer_limit = YesOrNo(In(kEnableViewerLimit, kFalse));
  const std::string account = In(kAccount, "");
  const std::string passwd = In(kPasswd, "");
  const std::string password_confirm = In(kPasswordConfirm, "");
  const int streaming_limit = ParseInt(In(kStreamingLimit, "1"));

  const Json::Value& stored = GetStreamConfig();
  Json::Value stream = stored;
  stream[kEnableAuth] = enable_auth;
  stream[kEnableViewerLimit] = enable_viewer_limit;
  stream[kStoredStreamingLimit] = streaming_limit;
  if (!account.empty()) {
    stream[kAccount] = account;
  }
  if (IsNewPassword(passwd, password_confirm)) {
    stream[kPasswd] = passwd;
  }
  if (stream == stored) {
    return true;
  }
  if (!WriteJsonFile(SystemPaths::kStreamConf, stream)) {
    // The same text for three files, on purpose: the line number tells them apart.
    syslog(LOG_ERR, "%s:%d Failed to save folder conf", kModule, __LINE__);
    return false;
  }
  return true;
}

bool DTVManage::SaveDTVSwitch() {
  const std::string requested = In(kDisableDTV, kNo);
  char buffer[kStoredSwitchSize];
  const int length =
      TLIBCFileGetKeyValue(SystemPaths::kDTVSettingConf, kDisableDTV, buffer, kStoredSwitchSize, 0);
  const std::string stored = length > 0 ? buffer : "";
  if (requested == stored) {
    return true;
  }
  if (TLIBCFileSetKeyValue(SystemPaths::kDTVSettingConf, kDisableDTV, requested.c_str(), 0) < 0) {
    syslog(LOG_ERR, "%s:%d Failed to set disable DTV", kModule, __LINE__);
    return false;
  }
  if (stored.empty() && requested == kNo) {
    return true;  // without a stored value the service counts as running
  }

  // The request's text never reaches the shell.
  char command[kControlCommandSize];
  std::snprintf(command, sizeof(command), "%s %s FORCE > /dev/null", SystemPaths::kDTVControlScript,
                requested == kYes ? "stop" : "start");
  if (std::system(command) < 0) {
    syslog(LOG_ERR, "%s:%d failed to trigger teskdtv", kModule, __LINE__);
    return false;
  }
  return true;
}

Json::Value DTVManage::BuildRecordFolder() {
  const std::string share = In(kShare, "");
  const std::string subpath = In(kSubpath, "");
  if (share.empty()) {
    return {};
  }
  Json::Value folder;
  folder[kShare] = share;
  folder[kSubpath] = subpath;
  folder[kSection] = kRecordSection;
  folder["section_name"] = "TV Recorder";
  folder[kPath] = BuildFolderPath(share, subpath);
  return folder;
}

bool DTVManage::CheckDVBConflict() {
  FILE* probe = popen(SystemPaths::kDVBConflictProbe, "r");
  if (probe == nullptr) {
    syslog(LOG_ERR, "%s:%d Failed to popen", kModule, __LINE__);
    return false;
  }
  char line[kProbeLineSize];
  if (std::fgets(line, sizeof(line), probe) == nullptr) {
    syslog(LOG_ERR, "%s:%d Failed to read result", kModule, __LINE__);
    pclose(probe);
    return false;
  }
  line[std::strcspn(line, "\n")] = '\0';
  const bool conflict = std::strcmp(line, kYes) == 0;
  pclose(probe);
  return conflict;
}

const Json::Value& DTVManage::GetStreamConfig() {
  ReadObjectOnce(stream_conf_, stream_conf_read, SystemPaths::kStreamConf);
  return stream_conf_;
}

const Json::Value& DTVManage::GetRecordConfig() {
  ReadObjectOnce(record_conf_, record_conf_read, SystemPaths::kRecordConf);
  return record_conf_;
}

}  // namespace Cinquill::CGI
