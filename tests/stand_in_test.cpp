// What the stand-in promises: the built programs and the libraries.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "host/platform/host_paths.h"
#include "platform/tesk_index.h"
#include "platform/tesk_share.h"
#include "tests/test.h"

namespace Harness {

// Runs a shell command with the built programs at hand: its exit status, and all that it prints.
std::string Shell(const std::string& command) {
  const std::string out = kRoot + "/out"s;
  const std::string line = "PATH=" BUILD_DIR ":$PATH; { " + command + "; } > " + out + " 2>&1";
  const int ended = std::system(line.c_str());
  return std::to_string(WEXITSTATUS(ended)) + ": " + ReadFile(out);
}

const std::string kProgram = " REMOTE_USER=admin HTTP_AUTHORIZATION=Geheim dtv_manage.cgi";
const std::string kPost =
    " REQUEST_METHOD=POST CONTENT_TYPE=application/x-www-form-urlencoded CONTENT_LENGTH=";
const std::string kHead = "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Length: ";

TEST(Programs, EndWithTheirStatus) {
  EXPECT_EQ(Shell("QUERY_STRING=action=load sh -c '" + kProgram + "; echo $? >&2' | :"), "0: 0\n")
      << "a client that is gone is no reason to end by a signal";
  EXPECT_EQ(Shell("QUERY_STRING=action=Load" + kProgram),
            "1: " + kHead + "18\r\n\r\n{\"success\":false}\n");
  EXPECT_EQ(Shell("(printf action; sleep 0.2; printf =save) |" + kPost + "11" + kProgram),
            "0: " + kHead + "17\r\n\r\n{\"success\":true}\n")
      << "a body that comes in two pieces is read whole";
  EXPECT_EQ(Shell("packagectl users --offset 1"), "0: 1004\tcarol\ntotal 2\n");
}

TEST(Programs, PutThePasswordIntoItsFileAlone) {
  // What the program starts writes down its own command line and environment, and the program's.
  const std::string spy =
      "#!/bin/sh\nfor process in $$ $PPID; do cat /proc/$process/cmdline /proc/$process/environ;"
      " done | tr '\\0' '\\n' >> ";
  for (const char* tool : {kIndexTool, kDTVControlScript}) {
    WriteFile(tool, spy + kRoot + "/seen\n");
  }
  std::filesystem::remove(kFolderConf);
  std::string said;
  for (const std::string form :
       {"action=save&share=tv&passwd=Geheim&disable_dtv=yes", "action=load",
        "action=save&share=video&passwd=Geheim2", "action=save&share=gone&passwd=Geheim2",
        "action=save&passwd=Geheim%zz", "action=Geheim"}) {
    const std::string length = std::to_string(form.size());
    said += Shell("printf %s '" + form + "' |" + kPost + length + kProgram);
  }
  EXPECT_NE(said.find("Failed to load folder config\n"), std::string::npos)
      << "the log goes to standard error, too: " << said;
  EXPECT_EQ(said.find("Geheim"), std::string::npos) << "answers and log: " << said;
  EXPECT_EQ(Shell("grep -rl Geheim "s + kRoot), "0: "s + kStreamConf + "\n")
      << "neither another file nor a process that a tool sees has the password or the sign-in";
  EXPECT_EQ(Shell("cd "s + kRoot +
                  "; programs=$(grep -cx dtv_manage.cgi seen); "
                  "[ $programs -gt 0 ] && [ $programs -eq $(grep -c HTTP_AUTHORIZATION= seen) ]"),
            "0: ")
      << "the name of the sign-in is in the program's environment alone, not in a tool's";
}

TEST(KeyValueFile, IsReplacedInOneStepAndKeepsTheRest) {
  const std::string before = "# why\n\n[settings]\nother=1\n\n[more]\nkey=2\n";
  WriteFile(kDTVSettingConf, before);
  std::filesystem::create_hard_link(kDTVSettingConf, kRecordConf);
  EXPECT_EQ(TLIBCFileSetKeyValue(kDTVSettingConf, "key", "\tx y", 0), 0);
  EXPECT_EQ(ReadFile(kDTVSettingConf),
            "# why\n\n[settings]\nother=1\n\nkey=%09x%20y\n\n[more]\nkey=2\n");
  EXPECT_EQ(ReadFile(kRecordConf), before);
}

TEST(KeyValueFile, GivesTheValueCutToTheBuffer) {
  char buffer[4] = "old";
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), 0);
  EXPECT_STREQ(buffer, "") << "terminated without a value, too";
  TLIBCFileSetKeyValue(kDTVSettingConf, "key", "value", 0);
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), 5);
  EXPECT_STREQ(buffer, "val");
  EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "key", "val", 0), 0);
  WriteFile(kDTVSettingConf, "no key file");
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), -1);
}

TEST(ShareDatabase, KeepsTheIndexFlagOfAShare) {
  WriteFile(Host::kShares, "[gone]\nindex=0\n[tv]\npath=/volume2/tv/\n");
  EXPECT_EQ(TESKShareIndexSet(1, "gone"), -1) << "without a path it is no share";
  EXPECT_EQ(TESKShareIndexSet(1, "tv"), 0);
  EXPECT_EQ(ReadFile(Host::kShares), "[gone]\nindex=0\n\n[tv]\npath=/volume2/tv/\nindex=1\n");
  EXPECT_EQ(GetFolderRealPath("tv", "x"), kRoot + "/volume2/tv/x"s);
}

TEST(KeyFiles, AreStoredOrTheCallFails) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit full_disk{0, usual.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full_disk);
  const int share = TESKShareIndexSet(1, "tv");
  const int key = TLIBCFileSetKeyValue(kDTVSettingConf, "key", "value", 0);
  setrlimit(RLIMIT_FSIZE, &usual);
  EXPECT_EQ(share, -1) << "the flag of a share, on a full disk";
  EXPECT_EQ(key, -1) << "a key-value file, on a full disk";
}

TEST(Execution, IsAFailureUnlessTheProgramReportsSuccess) {
  EXPECT_EQ(TLIBCExec("/bin/sh", "-c", "exit $#", "", ""), 1) << "empty arguments are arguments";
  EXPECT_EQ(TLIBCExec("/bin/sh", "-c", "kill -9 $$", "", ""), -1);
  EXPECT_EQ(TLIBCExec("/no/such/program", "", "", "", ""), -1);
}

// Signals the process whose number is the content of a file. Signal 0 asks only whether the process
// could be reached: a mistake here must harm nobody.
int Signal(const std::string& content) {
  WriteFile(kIndexDaemonPid, content);
  return TLIBCProcSignalByPidFile(kIndexDaemonPid, 0);
}

TEST(Signal, ReachesOneProcessAloneOrNobody) {
  const std::string self = std::to_string(getpid());
  EXPECT_EQ(Signal(self), 0);
  EXPECT_EQ(Signal(self + "\n"), 0);
  for (const std::string& content : {""s, "0\n"s, "1\n"s, "-1\n"s, self + "\n\n", self + "\0"s,
                                     std::to_string((1LL << 32) + getpid())}) {
    EXPECT_EQ(Signal(content), -1) << content;
  }
}

TEST(PathComparison, GoesByWholeComponentsOfTheNormalForm) {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  for (const auto& [path, parent] : Pairs{{"/v/tv", "/v/tv"},
                                          {"/v/tv/x", "/v/tv/"},
                                          {"//v///tv", "/v/tv"},
                                          {"/v", "/v/./x/.."},
                                          {"/v/.tv/x", "/v/.tv"},
                                          {"./v/tv", "v"},
                                          {"/v", "/"},
                                          {"/", "//"},
                                          {"//", "/"},
                                          {"", ""}}) {
    EXPECT_TRUE(TESKIndexUtils::IsEqualOrSubPath(path, parent)) << path << " in " << parent;
  }
  for (const auto& [path, parent] :
       Pairs{{"/v/tv", "/v/tv/x"}, {"/v/tv2", "/v/tv"}, {"/V/tv", "/v/tv"}, {"", "/"}, {"/", ""}}) {
    EXPECT_FALSE(TESKIndexUtils::IsEqualOrSubPath(path, parent)) << path << " in " << parent;
  }
}

}  // namespace Harness
