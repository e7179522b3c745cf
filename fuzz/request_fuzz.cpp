// Serves any request over any settings files. An input has these parts, separated by "~": query,
// body, origin, folder.conf, record.conf, stream.conf, dtv_setting.conf, and what the probe prints.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "platform/system_paths.h"
#include "tests/harness.h"

// libFuzzer reads the coverage counters in this process, so those of the process that serves a
// request are copied.
extern "C" std::uint8_t __start___sancov_cntrs[];
extern "C" std::uint8_t __stop___sancov_cntrs[];

namespace {

using namespace Cinquill;

// Ends the run, with the input as a finding, when `holds` is false.
void Check(bool holds, const std::string& what) {
  if (!holds) {
    throw std::runtime_error("ERROR: does not hold: " + what);
  }
}

const auto size = static_cast<std::size_t>(__stop___sancov_cntrs - __start___sancov_cntrs);
void* const copy = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);

void KeepCounters(int status, void* /*unused*/) {
  std::memcpy(copy, __start___sancov_cntrs, size);
  _exit(status);  // libFuzzer would report any other exit
}

Harness::Outcome Serve(const std::string& form, const std::vector<std::string>& variables) {
  Harness::TakeWrites();
  Harness::Outcome outcome = Harness::Serve(form, variables, -1, [] {
    on_exit(KeepCounters, nullptr);
    return Harness::RunDTVManage();
  });
  std::memcpy(__start___sancov_cntrs, copy, size);
  const Json::Value& answer = outcome.answer;
  const bool is_answer = answer.isObject() || outcome.text.rfind("400 ", 0) == 0;
  Check(is_answer, "one well-formed answer, not " + outcome.text);
  const Json::Value data = answer.get("data", Json::Value());
  Check(data.isNull() || Harness::TakeWrites().empty(), "a load has no effect");
  Check(data.get("passwd", "24681357") == "24681357", "the password is not shown");
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  std::istringstream input(std::string(reinterpret_cast<const char*>(data), length));
  std::string parts[8];
  for (std::string& part : parts) {
    std::getline(input, part, '~');
  }
  const auto& [query, body, origin, folder, record, stream, dtv_setting, probe] = parts;
  Harness::WriteFile(SystemPaths::kFolderConf, folder);
  Harness::WriteFile(SystemPaths::kRecordConf, record);
  Harness::WriteFile(SystemPaths::kStreamConf, stream);
  Harness::WriteFile(SystemPaths::kDTVSettingConf, dtv_setting);
  Harness::WriteFile(Harness::InRoot("/probe"), probe);
  Serve(body, {"QUERY_STRING=" + query, "HTTP_ORIGIN=" + origin});
  if (!Harness::TakeWrites().empty()) {
    Check(Serve("action=load", {}).answer["success"] == true, "a load succeeds after a save");
  }
  return 0;
}
