// The built programs, and what the stand-in promises.
#include <sys/wait.h>
#include <unistd.h>

#include "host/platform/host_paths.h"
#include "platform/tesk_index.h"
#include "platform/tesk_share.h"
#include "tests/test.h"

namespace Cinquill::Harness {
namespace {

using namespace SystemPaths;

// Runs a shell command with the built programs at hand: its exit status, and all that it prints.
std::string Shell(const std::string& command) {
  const std::string line = "cd " + InRoot("") + "; PATH=" BUILD_DIR ":$PATH; { " + command;
  const int ended = std::system((line + "; } > out 2>&1").c_str());
  return std::to_string(WEXITSTATUS(ended)) + ": " + ReadFile(InRoot("/out"));
}

const std::string kProgram = " REMOTE_USER=admin HTTP_AUTHORIZATION=Geheim dtv_manage.cgi";
const std::string kPost =
    " REQUEST_METHOD=POST CONTENT_TYPE=application/x-www-form-urlencoded CONTENT_LENGTH=";

TEST(Programs, ExitWithTheResult) {
  EXPECT_EQ(Shell("QUERY_STRING=action=load sh -c '" + kProgram + "; echo $? >&2' | :"), "0: 0\n")
      << "a client that is gone does not end the program";
  EXPECT_EQ(Shell("QUERY_STRING=action=Load" + kProgram + " > answer"), "1: ");
  EXPECT_EQ(
      Shell("(printf action; sleep 0.2; printf =save) |" + kPost + "11" + kProgram + " | tail -n1"),
      "0: {\"success\":true}\n")
      << "the body may come in parts";
  EXPECT_EQ(Shell("packagectl users --offset 1"), "0: 1004\tcarol\ntotal 2\n");
  EXPECT_EQ(Shell("packagectl queued /v"), "1: not queued\n");
  WriteFile(kIndexingQueue, "A:/v\n");
  EXPECT_EQ(Shell("packagectl queued /v"), "0: queued\n");
}

TEST(Programs, StoreThePasswordOnlyInStreamConf) {
  // Each tool writes down its own command line and environment, and those of the program.
  for (const char* tool : {kIndexTool, kDTVControlScript}) {
    WriteFile(tool,
              "#!/bin/sh\ncat /proc/$$/cmdline /proc/$$/environ >> tool\n"
              "cat /proc/$PPID/cmdline /proc/$PPID/environ >> program\n");
  }
  std::filesystem::remove(kFolderConf);
  std::string said;
  for (const std::string form :
       {"action=save&share=tv&passwd=Geheim&disable_dtv=yes", "action=load",
        "action=save&share=video&passwd=Geheim2", "action=save&share=gone&passwd=Geheim2",
        "action=save&passwd=Geheim%zz", "action=Geheim"}) {
    said += Shell("printf %s '" + form + "' |" + kPost + std::to_string(form.size()) + kProgram);
  }
  EXPECT_NE(said.find("Failed to load folder config\n"), std::string::npos) << said;
  EXPECT_EQ(said.find("Geheim"), std::string::npos) << "answers and log: " << said;
  EXPECT_EQ(Shell("grep -rl Geheim *; grep -l IZATION= tool program"),
            "0: " + std::string(kStreamConf + sizeof(kRoot)) + "\nprogram\n")
      << "the password or the sign-in, and the name of the sign-in";
}

TEST(KeyValueFile, IsReplacedAndKeepsOtherKeys) {
  const std::string before = "# why\n\n[settings]\nother=1\n\n[more]\nkey=2\n";
  WriteFile(kDTVSettingConf, before);
  std::filesystem::create_hard_link(kDTVSettingConf, kRecordConf);
  char buffer[4] = "old";
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(TLIBCFileSetKeyValue(kDTVSettingConf, "key", "\tx y", 0), 0);
  EXPECT_EQ(ReadFile(kDTVSettingConf),
            "# why\n\n[settings]\nother=1\n\nkey=%09x%20y\n\n[more]\nkey=2\n");
  EXPECT_EQ(ReadFile(kRecordConf), before);
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), 4);
  EXPECT_STREQ(buffer, "\tx ") << "the value is cut to the buffer";
  EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "key", buffer, 0), 0);
}

TEST(ShareDatabase, StoresTheIndexFlag) {
  WriteFile(Host::kShares, "[gone]\nindex=0\n[tv]\npath=/volume2/tv/\n");
  EXPECT_EQ(TESKShareIndexSet(1, "gone"), -1) << "a share has a path";
  EXPECT_EQ(TESKShareIndexSet(1, "tv"), 0);
  EXPECT_EQ(ReadFile(Host::kShares), "[gone]\nindex=0\n\n[tv]\npath=/volume2/tv/\nindex=1\n");
  EXPECT_EQ(GetFolderRealPath("tv", "x"), InRoot("/volume2/tv/x"));
}

TEST(Signal, RejectsBadPidFiles) {
  const auto signal = [](const std::string& content) {
    WriteFile(kIndexDaemonPid, content);
    return TLIBCProcSignalByPidFile(kIndexDaemonPid, 0);  // signal 0 has no effect
  };
  const std::string self = std::to_string(getpid());
  EXPECT_EQ(signal(self), 0);
  EXPECT_EQ(signal(self + "\n"), 0);
  for (const std::string& content :
       std::vector<std::string>{"", "0\n", "1\n", "-1\n", self + "\n\n", self + '\0',
                                std::to_string((1LL << 32) + getpid())}) {
    EXPECT_EQ(signal(content), -1) << content;
  }
}

TEST(PathComparison, ComparesWholeComponentsOfNormalPaths) {
  const auto is_inside = [](const std::string& pair) {
    const std::size_t blank = pair.find(' ');
    return TESKIndexUtils::IsEqualOrSubPath(pair.substr(0, blank), pair.substr(blank + 1));
  };
  for (const char* pair : {"/v/tv/x /v/tv/", "//v///tv /v/tv", "/v /v/./x/..", " ", "./v/tv v",
                           "/v/.tv/x /v/.tv", "/v /", "/ //", "// /"}) {
    EXPECT_TRUE(is_inside(pair)) << pair;
  }
  for (const char* pair : {"/v/tv /v/tv/x", "/v/tv2 /v/tv", "/V/tv /v/tv", " /", "/ "}) {
    EXPECT_FALSE(is_inside(pair)) << pair;
  }
}

}  // namespace
}  // namespace Cinquill::Harness
