// What the stand-in promises: how a request gets in and who is let in, and the libraries.
#include <sys/wait.h>
#include <unistd.h>

#include "host/platform/host_paths.h"
#include "platform/tesk_index.h"
#include "platform/tesk_share.h"
#include "tests/test.h"

namespace Harness {

TEST(Request, IsDecodedOrRefusedBeforeAnythingRuns) {
  ResetRoot();
  const std::string form = "application/x-www-form-urlencoded";
  // Query, content type (F is that of a form), content length; body, and the size to which it is
  // filled up; why it is refused.
  for (const Json::Value& row : Rows(R"(["action=load", "", "", "", 0, ""],
      ["action=no", "F", "11", "action=load&action=no", 0, ""],
      ["", "Application/X-WWW-Form-urlencoded; x=y", "11", "action=load", 0, ""],
      ["", "F", "65536", "action=load&x=", 65536, ""],
      ["", "F", "65537", "action=load&x=", 65537, "body is larger than 64 KiB"],
      ["%", "F", "11", "action=load", 0, "query is not a well-formed form"],
      ["", "F", "13", "action=load\u0000x", 0, "body is not a well-formed form"],
      ["", "F", "12", "action=load", 0, "body is shorter than its stated length"],
      ["", "F", "many", "action=load", 0, "length of the body is not a number"],
      ["", "application/x-www-form-urlencodedx", "0", "", 0,
       "content type is not application/x-www-form-urlencoded"],
      ["", "", "11", "action=load", 0,
       "content type is not application/x-www-form-urlencoded"])")) {
    SCOPED_TRACE(row);
    std::string body = row[3].asString();
    body.resize(std::max(body.size(), std::size_t{row[4].asUInt()}), 'x');
    const Outcome outcome =
        Serve({{"REMOTE_USER=admin", "REQUEST_METHOD=POST", "QUERY_STRING=" + row[0].asString(),
                "CONTENT_TYPE=" + (row[1] == "F" ? form : row[1].asString()),
                "CONTENT_LENGTH=" + row[2].asString()},
               body});
    const std::string answer = outcome.output.substr(outcome.output.find("\r\n\r\n") + 4);
    const bool is_served = row[5] == "";
    EXPECT_TRUE(is_served ? outcome.answer["success"].asBool()
                          : answer == "the " + row[5].asString() + "\n");
    EXPECT_EQ(outcome.status, is_served ? 0 : 1);
    EXPECT_EQ(outcome.output,
              (is_served ? ""s : "Status: 400 Bad Request\r\n"s) +
                  "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Length: " +
                  std::to_string(answer.size()) + "\r\n\r\n" + answer);
    EXPECT_EQ(outcome.journal.empty(), !is_served);
  }
}

TEST(Request, IsServedForAnAdministratorOfTheSameOriginAlone) {
  ResetRoot();
  // User, site and origin that the browser names, host of the server; whether it is served.
  for (const Json::Value& row : Rows(R"(
      ["", "", "", "", false], ["alice", "", "", "", false], ["admin", "none", "", "", true],
      ["admin", "same-origin", "http://evil", "", true], ["admin", "same-site", "", "", false],
      ["admin", "", "http://nas:8080", "NAS:8080", true], ["admin", "", "null", "", false],
      ["admin", "", "http://nas:8081", "nas:8080", false],
      ["admin", "", "http://nas@evil", "nas", false])")) {
    TakeWrites();
    const Outcome outcome =
        Serve({{"QUERY_STRING=action=save&disable_dtv=yes", "REMOTE_USER=" + row[0].asString(),
                "HTTP_SEC_FETCH_SITE=" + row[1].asString(), "HTTP_ORIGIN=" + row[2].asString(),
                "HTTP_HOST=" + row[3].asString()}});
    EXPECT_EQ(outcome.status, row[4].asBool() ? 0 : 1) << row;
    EXPECT_EQ(outcome.answer["errinfo"]["key"],
              row[4].asBool() ? Json::Value() : "error_privilege_not_enough")
        << row;
    EXPECT_TRUE(row[4].asBool() || !TakeWrites()) << row;
  }
}

// The built programs, as a web server or a person starts them: a command, its exit status, and the
// last line that it prints.
TEST(Programs, EndWithTheirStatus) {
  ResetRoot();
  const std::string serve = " REMOTE_USER=admin dtv_manage.cgi";
  const std::string post =
      " REQUEST_METHOD=POST CONTENT_LENGTH=11 CONTENT_TYPE=application/x-www-form-urlencoded";
  for (const auto& [command, status, output] :
       std::vector<std::tuple<std::string, int, std::string>>{
           {"QUERY_STRING=action=Load" + serve, 1, "{\"success\":false}"},
           {"(printf action; sleep 0.2; printf =save) |" + post + serve, 0, "{\"success\":true}"},
           // A client that is gone: an answer to nobody is no reason to end by a signal.
           {"QUERY_STRING=action=load sh -c '" + serve + "; echo $? >&2' | :", 0, "0"},
           {"rm "s + kFolderConf + ";QUERY_STRING=action=load" + serve, 0, "load folder config"},
           {"packagectl users --offset 1", 0, "total 2"}}) {
    const std::string out = kRoot + "/out"s;
    const std::string line = "PATH=" BUILD_DIR ":$PATH; { " + command + "; } > " + out + " 2>&1";
    const int ended = std::system(line.c_str());
    EXPECT_EQ(WEXITSTATUS(ended), status) << command;
    EXPECT_NE(ReadFile(out).find(output + "\n"), std::string::npos) << ReadFile(out);
  }
}

TEST(KeyValueFile, IsReplacedInOneStepAndKeepsTheRest) {
  ResetRoot();
  const std::string before = "# why\n\n[settings]\nother=1\n\n[more]\nkey=2\n";
  WriteFile(kDTVSettingConf, before);
  std::filesystem::create_hard_link(kDTVSettingConf, kRecordConf);
  EXPECT_EQ(TLIBCFileSetKeyValue(kDTVSettingConf, "key", "\tx y", 0), 0);
  EXPECT_EQ(ReadFile(kDTVSettingConf),
            "# why\n\n[settings]\nother=1\n\nkey=%09x%20y\n\n[more]\nkey=2\n");
  EXPECT_EQ(ReadFile(kRecordConf), before);
}

TEST(KeyValueFile, GivesTheValueCutToTheBuffer) {
  ResetRoot();
  char buffer[4] = "old";
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), *buffer);
  TLIBCFileSetKeyValue(kDTVSettingConf, "key", "value", 0);
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), 5);
  EXPECT_STREQ(buffer, "val");
  EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "key", "val", 0), 0);
  WriteFile(kDTVSettingConf, "no key file");
  EXPECT_EQ(TLIBCFileGetKeyValue(kDTVSettingConf, "key", buffer, 4, 0), -1);
}

TEST(ShareDatabase, KeepsTheIndexFlagOfAShare) {
  ResetRoot();
  EXPECT_EQ(TESKShareIndexSet(1, "gone"), -1);
  EXPECT_EQ(TESKShareIndexSet(1, "tv"), 0);
  EXPECT_NE(ReadFile(Host::kShares).find("path=/volume2/tv\nindex=1\n"), std::string::npos);
}

// Signal 0 asks only whether the process could be reached: a mistake here must harm nobody.
TEST(Signal, ReachesOneProcessAloneOrNobody) {
  ResetRoot();
  const std::string self = std::to_string(getpid());
  for (const std::string& content : {self, self + "\n", ""s, "0\n"s, "1\n"s, "-1\n"s, self + "\n\n",
                                     self + "\0"s, std::to_string((1LL << 32) + getpid())}) {
    WriteFile(kIndexDaemonPid, content);
    const bool is_sent = TLIBCProcSignalByPidFile(kIndexDaemonPid, 0) == 0;
    EXPECT_EQ(is_sent, content == self || content == self + "\n") << content;
  }
}

TEST(PathComparison, GoesByWholeComponentsOfTheNormalForm) {
  for (const Json::Value& row : Rows(R"(["/v/tv", "/v/tv", true], ["/v/tv/x", "/v/tv/", true],
      ["/v/tv", "/v/tv/x", false], ["/v/tv2", "/v/tv", false], ["/V/tv", "/v/tv", false],
      ["//v///tv", "/v/tv", true], ["/v", "/v/./x/..", true], ["/v/.tv/x", "/v/.tv", true],
      ["/v", "/", true], ["/", "//", true], ["//", "/", true], ["./v/tv", "v", true],
      ["", "", true], ["", "/", false], ["/", "", false])")) {
    const bool result = TESKIndexUtils::IsEqualOrSubPath(row[0].asString(), row[1].asString());
    EXPECT_EQ(result, row[2].asBool()) << row;
  }
}

}  // namespace Harness
