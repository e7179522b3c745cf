// Serves any request over any settings files, in this process and without starting a program. An
// input has these parts, separated by "~": query, body, origin, folder.conf, record.conf,
// stream.conf, dtv_setting.conf, and what the probe prints.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

// For its variables record_conf_read and stream_conf_read: a process reads these files once, but
// here each request reads them again.
#include "dtv_manage/dtv_manage.cpp"  // NOLINT(bugprone-suspicious-include)
#include "host/platform/form.h"
#include "tests/harness.h"

namespace {

using namespace Cinquill;
using Harness::Outcome;

// Ends the run, with the input as a finding, when `holds` is false.
void Check(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "ERROR: does not hold: %s\n", what);
    std::abort();
  }
}

// Does not run the handler for a malformed request: its constructor would end the process.
Outcome Serve(const Harness::Request& request, Host::Form& form) {
  CGI::record_conf_read = CGI::stream_conf_read = false;
  Harness::TakeWrites();
  const auto run = [&form] {
    const bool is_well_formed = Host::ReadForm(form).empty();
    lseek(STDIN_FILENO, 0, SEEK_SET);
    return is_well_formed && Harness::RunDTVManage();
  };
  Outcome outcome = Harness::Serve(request, -1, run, Harness::Where::kHere);
  const Json::Value& answer = outcome.answer;
  Check(outcome.output.empty() || answer["success"] == (outcome.status == 0), "an answer");
  Check(!answer.isMember(outcome.status == 0 ? "errinfo" : "data"), "one outcome");
  return outcome;
}

Json::Value Load() {
  Host::Form form;
  const Outcome outcome = Serve(Harness::Post("action=load"), form);
  const Json::Value& data = outcome.answer["data"];
  Check(data.isObject() && !Harness::TakeWrites(), "a load succeeds without any effect");
  Check(data.get("passwd", "24681357") == "24681357", "the password is not shown");
  return data;
}

void CheckSaved(const Harness::Request& request, Host::Form& form) {
  const Json::Value data = Load();
  for (const char* flag : {CGI::kCloseStreaming, CGI::kEnableAuth, CGI::kEnableViewerLimit}) {
    Check(data[flag] == (form[flag] == "true"), flag);
  }
  Check(form["account"].empty() || data["account"] == form["account"], "the account");
  Check(form["disable_dtv"] != "yes" || data["disable_dtv"] == true, "the switch");
  const std::string share = form["share"];
  const std::string subpath = form["subpath"];
  Check(share.empty() || HasFolder(LoadFolderConf(), share, subpath), "the destination");
  // The same save has an effect again in two cases. Of several recording folders a save replaces
  // the first, then the next. A stored switch is compared by its first 31 bytes.
  if ((share.empty() || data["dtv_destination"] == BuildFolderPath(share, subpath)) &&
      form["disable_dtv"].size() < 32) {
    Check(Serve(request, form).status == 0 && !Harness::TakeWrites(),
          "the same save again has no effect");
    Check(Load() == data, "the same save again changes nothing");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
  std::string parts[8];
  for (std::string& part : parts) {
    std::getline(input, part, '~');
  }
  Harness::WriteFile(SystemPaths::kFolderConf, parts[3]);
  Harness::WriteFile(SystemPaths::kRecordConf, parts[4]);
  Harness::WriteFile(SystemPaths::kStreamConf, parts[5]);
  Harness::WriteFile(SystemPaths::kDTVSettingConf, parts[6]);
  Harness::probe_output = parts[7];
  Load();
  Harness::Request request = Harness::Post(parts[1]);
  request.environment.push_back("QUERY_STRING=" + parts[0]);
  request.environment.push_back("HTTP_ORIGIN=" + parts[2]);
  Host::Form form;
  const Outcome outcome = Serve(request, form);
  Check(form["action"] == "save" || !Harness::TakeWrites(), "only a save has an effect");
  if (outcome.status == 0 && form["action"] == "save") {
    CheckSaved(request, form);
  }
  return 0;
}
