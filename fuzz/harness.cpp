#include "fuzz/harness.h"

#include <json/reader.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

// A process reads record.conf and stream.conf once, and notes it in variables that only the source
// itself sees; here they start anew with every request.
#include "dtv_manage/dtv_manage.cpp"  // NOLINT(bugprone-suspicious-include)
#include "host/platform/host_paths.h"

namespace Fuzz {
namespace {

namespace fs = std::filesystem;
namespace Paths = Cinquill::SystemPaths;

const std::vector<std::string> kFiles{Paths::kFolderConf, Paths::kRecordConf, Paths::kStreamConf,
                                      Paths::kDTVSettingConf, Host::kShares};
const fs::file_time_type kSettled = fs::file_time_type::clock::now() - std::chrono::hours(1);
int started = 0;

void Fill(int file, const std::string& content) {
  const auto size = static_cast<ssize_t>(content.size());
  Check(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) == size &&
            lseek(file, 0, SEEK_SET) == 0,
        "a file in memory can be filled");
}

std::string Output() {
  std::string output(static_cast<std::size_t>(lseek(STDOUT_FILENO, 0, SEEK_CUR)), '\0');
  const ssize_t size = pread(STDOUT_FILENO, output.data(), output.size(), 0);
  Check(size == static_cast<ssize_t>(output.size()), "the answer can be read back");
  return output;
}

Json::Value ParseAnswer(const std::string& output) {
  const std::size_t end = output.find("\r\n\r\n");
  Check(end != std::string::npos, "the answer has headers and a body");
  const std::string body = output.substr(end + 4);
  Check(output.substr(0, end) == "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Length: " +
                                     std::to_string(body.size()),
        "the headers are those of the body");
  Check(body.find('\n') == body.size() - 1, "the body is one line");
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = builder["stackLimit"].asInt() + 2;  // deeper by two than a settings file
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value answer;
  Check(reader->parse(body.data(), body.data() + body.size(), &answer, nullptr), "it is JSON");
  Check(answer.isObject() && answer["success"].isBool(), "the answer tells of success");
  Check(!answer.isMember(answer["success"].asBool() ? "errinfo" : "data"), "one outcome");
  return answer;
}

}  // namespace

std::string probe_output = "no\n";

std::vector<std::string> Split(const std::uint8_t* data, std::size_t size, std::size_t count) {
  constexpr std::string_view kSeparator = "\n--\n";
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> parts;
  while (parts.size() < count) {
    const std::size_t end = std::min(rest.find(kSeparator), rest.size());
    parts.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + kSeparator.size(), rest.size()));
  }
  return parts;
}

void SetFiles(const std::vector<std::string>& contents) {
  for (std::size_t i = 0; i < 4; ++i) {
    if (contents[i].empty()) {
      fs::remove(kFiles[i]);
    } else {
      std::ofstream(kFiles[i], std::ios::binary) << contents[i];
    }
  }
}

// The environment is replaced as a whole: setenv() would keep every value it was ever given.
void Prepare(std::vector<std::string> variables, const std::string& body) {
  static std::vector<std::string> environment;
  static std::vector<char*> pointers;
  environment = std::move(variables);
  environment.emplace_back("REMOTE_USER=admin");
  pointers.clear();
  for (std::string& variable : environment) {
    pointers.push_back(variable.data());
  }
  pointers.push_back(nullptr);
  environ = pointers.data();
  Fill(STDIN_FILENO, body);
}

Json::Value Serve() {
  Cinquill::CGI::record_conf_read = false;
  Cinquill::CGI::stream_conf_read = false;
  lseek(STDIN_FILENO, 0, SEEK_SET);
  Fill(STDOUT_FILENO, "");
  const bool succeeded = Cinquill::CGI::DTVManage().Run();
  Json::Value answer = ParseAnswer(Output());
  Check(answer["success"].asBool() == succeeded, "the answer says what Run() returns");
  return answer;
}

void Settle() {
  started = 0;
  for (const std::string& file : kFiles) {
    std::error_code missing;
    fs::last_write_time(file, kSettled, missing);
  }
}

bool HasEffect() {
  return started > 0 || std::any_of(kFiles.begin(), kFiles.end(), [](const std::string& file) {
           std::error_code missing;
           return fs::last_write_time(file, missing) != kSettled && !missing;
         });
}

}  // namespace Fuzz

// Starting the probe, the control script and the indexing tool would take a hundred times as long
// as all the rest. The linker leads their calls here (--wrap), and the log's; what is checked is
// that nothing from outside gets into a command.
extern "C" {

FILE* __wrap_popen(const char* command, const char* /*mode*/) {
  Fuzz::Check(std::string_view(command) == Fuzz::Paths::kDVBConflictProbe, "only the probe is run");
  return fmemopen(Fuzz::probe_output.data(), Fuzz::probe_output.size(), "r");
}

int __wrap_pclose(FILE* probe) { return std::fclose(probe); }

int __wrap_system(const char* command) {
  const std::string text = command;
  const std::string script = Fuzz::Paths::kDTVControlScript;
  Fuzz::Check(
      text == script + " stop FORCE > /dev/null" || text == script + " start FORCE > /dev/null",
      "only two commands reach the shell");
  return ++Fuzz::started, 0;
}

int __wrap_TLIBCExec(const char* program, const char* option, const char* path, const char* flag,
                     const char* package) {
  const std::string words = std::string(program) + " " + option + " " + flag + " " + package;
  const std::string tool = Fuzz::Paths::kIndexTool;
  Fuzz::Check(words == tool + " -A -P Cinquill" || words == tool + " -D -P Cinquill", "the tool");
  Fuzz::Check(*path == '\0' || std::string_view(path).rfind(Fuzz::Paths::kRoot, 0) == 0,
              "the tool's path is a share's");
  return ++Fuzz::started, 0;
}

void __wrap_syslog(int /*priority*/, const char* /*format*/, ...) {}

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  using std::filesystem::copy_options;
  std::filesystem::copy(SKELETON, Fuzz::Paths::kRoot,
                        copy_options::recursive | copy_options::overwrite_existing);
  dup2(memfd_create("input", 0), STDIN_FILENO);
  dup2(memfd_create("output", 0), STDOUT_FILENO);
  return 0;
}

}  // extern "C"
