// A load, a save, a load and the same save again, whatever the settings files hold. The parts of an
// input: folder.conf, record.conf, stream.conf, dtv_setting.conf, the probe's output, the save.
#include <algorithm>
#include <charconv>
#include <limits>

#include "fuzz/harness.h"
#include "host/platform/form.h"
#include "platform/system_paths.h"
#include "platform/tlibc.h"
#include "platform/webapi_util.h"

namespace {

using Fuzz::Check;

Json::Value Serve(const std::string& query) {
  Fuzz::Prepare({"QUERY_STRING=" + query}, "");
  return Fuzz::Serve();
}

Json::Value Load() {
  Fuzz::Settle();
  const Json::Value answer = Serve("action=load");
  Check(answer["success"].asBool() && !Fuzz::HasEffect(), "a load succeeds without any effect");
  const Json::Value& data = answer["data"];
  Check(!data.isMember("passwd") || data["passwd"] == "24681357", "the password is not shown");
  const std::size_t end = Fuzz::probe_output.find_first_of("\n\0", 0, 2);
  Check((data["DVB_conflict"] == true) == (Fuzz::probe_output.substr(0, end) == "yes"), "probe");
  return data;
}

std::string Parameter(const Host::Form& form, const char* name, const char* default_value) {
  const auto field = form.find(name);
  return field == form.end() ? default_value : field->second;
}

int Number(const std::string& text) {
  const char* start = text.c_str() + std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
  start += *start == '+' && start[1] != '-' ? 1 : 0;
  int number = 0;
  const auto result = std::from_chars(start, text.c_str() + text.size(), number);
  if (result.ec == std::errc::result_out_of_range) {
    return *start == '-' ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
  }
  return number;
}

void CheckShown(const Json::Value& data, const Host::Form& form) {
  for (const char* flag : {"closestreaming", "enableauth", "enable_viewer_limit"}) {
    Check(data[flag] == Json::Value(Parameter(form, flag, "") == "true"), flag);
  }
  for (const char* number : {"pre_recording", "post_recording"}) {
    Check(data[number] == Number(Parameter(form, number, "0")), number);
  }
  Check(data["streaming_limit"] == Number(Parameter(form, "streaming_limit", "1")), "the limit");
  const std::string account = Parameter(form, "account", "");
  Check(account.empty() || data["account"] == account, "account");
}

std::string Destination(const Host::Form& form, const Json::Value& before) {
  const std::string share = Parameter(form, "share", "");
  const std::string subpath = Parameter(form, "subpath", "");
  if (share.empty()) {
    return before["dtv_destination"].asString();
  }
  return "/" + share + (subpath.empty() ? "" : "/" + subpath);
}

// Only the first of several recording folders is replaced: another one shows then.
bool HasSeveralRecordFolders() {
  Json::Value folders;
  TESK::WebAPIUtil::ReadJsonFile(folders, Cinquill::SystemPaths::kFolderConf);
  return folders.isArray() &&
         std::count_if(folders.begin(), folders.end(), [](const Json::Value& folder) {
           return folder.isObject() && folder["section"] == "tv_record";
         }) > 1;
}

bool IsSwitchUnreadable() {
  return TLIBCFileCheckKeyValue(Cinquill::SystemPaths::kDTVSettingConf, "disable_dtv", "", 0) < 0;
}

void CheckSave(const std::string& query, const Host::Form& form) {
  const Json::Value before = Load();
  const bool several = HasSeveralRecordFolders();
  const bool unreadable = IsSwitchUnreadable();
  if (!Serve(query)["success"].asBool()) {
    Check(!Parameter(form, "share", "").empty() || unreadable, "a save has a reason to fail");
    Load();
    return;
  }
  const Json::Value after = Load();
  CheckShown(after, form);
  Check(several || after["dtv_destination"] == Destination(form, before), "the destination");
  const std::string word = Parameter(form, "disable_dtv", "no");
  const bool is_off = word == "yes" || (word.empty() && unreadable);
  Check(after["disable_dtv"] == Json::Value(is_off), "the switch");
  // A stored switch is compared by its first 31 bytes: a longer one is always news.
  if (!several && word.size() < 32) {
    Check(Serve(query)["success"].asBool(), "the same save succeeds again");
    Check(!Fuzz::HasEffect(), "the same save again has no effect");
    Check(Load() == after, "the same save again changes nothing");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string> parts = Fuzz::Split(data, size, 6);
  Fuzz::SetFiles(parts);
  Fuzz::probe_output = parts[4];
  std::string query = "action=save&" + parts[5];
  Host::Form form;
  if (!Host::DecodeForm(query.c_str(), form) || form["action"] != "save") {
    query = "action=save";
    form.clear();
  }
  CheckSave(query, form);
  return 0;
}
