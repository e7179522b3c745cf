// The built program, run as a web server runs it: one process a request, the request in the
// environment and on standard input.
#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/system_paths.h"
#include "platform/tesk_index.h"
#include "platform/tlibc.h"
#include "tests/test_root.h"

namespace Cinquill {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using Parameters = std::map<std::string, std::string>;

const std::string kRoot = SystemPaths::kRoot;

struct Result {
  int status = -1;  // exit status; -1 when a signal ended the process
  std::string output;
  std::string log;

  std::string Body() const {
    const std::size_t end = output.find("\r\n\r\n");
    return end == std::string::npos ? "" : output.substr(end + 4);
  }
  Json::Value Answer() const { return Parse(Body()); }
};

// Runs a program of the build with its standard input from a file and both outputs into files.
Result RunProgram(std::vector<std::string> command, std::vector<std::string> environment,
                  const std::string& input) {
  const std::string scratch = kRoot + "/scratch";
  WriteFile(scratch + ".in", input);
  command[0] = BUILD_DIR "/" + command[0];
  if (const char* options = std::getenv("LSAN_OPTIONS")) {
    environment.push_back("LSAN_OPTIONS="s + options);
  }
  const pid_t child = fork();
  if (child == 0) {
    dup2(open((scratch + ".in").c_str(), O_RDONLY), 0);
    dup2(open((scratch + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
    dup2(open((scratch + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    std::vector<char*> arguments;
    std::vector<char*> variables;
    for (std::string& word : command) {
      arguments.push_back(word.data());
    }
    for (std::string& variable : environment) {
      variables.push_back(variable.data());
    }
    arguments.push_back(nullptr);
    variables.push_back(nullptr);
    execve(arguments[0], arguments.data(), variables.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(scratch + ".out"),
          ReadFile(scratch + ".err")};
}

std::string Encode(const Parameters& parameters) {
  std::string form;
  for (const auto& [name, value] : parameters) {
    char* encoded =
        g_uri_escape_bytes(reinterpret_cast<const guint8*>(value.data()), value.size(), nullptr);
    form += (form.empty() ? "" : "&") + name + "=" + encoded;
    g_free(encoded);
  }
  return form;
}

Result Post(const std::string& body, const std::string& user = "admin",
            std::vector<std::string> more = {}) {
  more.insert(more.end(), {"REQUEST_METHOD=POST", "REMOTE_USER=" + user,
                           "CONTENT_TYPE=application/x-www-form-urlencoded",
                           "CONTENT_LENGTH=" + std::to_string(body.size())});
  return RunProgram({"dtv_manage.cgi"}, more, body);
}

Result Save(Parameters parameters) {
  parameters["action"] = "save";
  return Post(Encode(parameters));
}

Json::Value Load() {
  const Result result = Post("action=load");
  EXPECT_EQ(result.status, 0) << result.log;
  return result.Answer()["data"];
}

Json::Value Stored(const std::string& path) { return Parse(ReadFile(path)); }

// Every regular file below the root with its content, inode and time, but for the test's own.
std::map<std::string, std::string> Snapshot() {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(kRoot)) {
    struct stat info {};
    if (entry.is_regular_file() && stat(entry.path().c_str(), &info) == 0 &&
        entry.path().stem() != "scratch") {
      files[entry.path()] = ReadFile(entry.path()) + std::to_string(info.st_ino) + " " +
                            std::to_string(info.st_mtim.tv_sec) + "." +
                            std::to_string(info.st_mtim.tv_nsec);
    }
  }
  return files;
}

class Program : public testing::Test {
 protected:
  void SetUp() override { ResetRoot(); }
};

TEST_F(Program, RequestsAreDecodedOrRefusedBeforeAnythingRuns) {
  const char* form = "application/x-www-form-urlencoded";
  struct Row {
    const char* name;
    const char* query;
    const char* type;
    const char* length;  // null: not a POST
    std::string body;
    bool is_served;
  };
  const auto before = Snapshot();
  for (const Row& row : std::vector<Row>{
           {"query", "action=load", "", nullptr, "", true},
           {"query of an empty post", "action=load", "", "", "", true},
           {"body before query", "action=no&x=1", form, "11", "action=load", true},
           {"parameter of the type", "", "Application/X-WWW-Form-Urlencoded; charset=UTF-8", "11",
            "action=load", true},
           {"more input than the body", "", form, "11", "action=load&action=no", true},
           {"bad escape", "action=load&x=%zz", "", nullptr, "", false},
           {"cut escape", "action=load&x=%2", "", nullptr, "", false},
           {"no UTF-8", "action=load&x=%ff", "", nullptr, "", false},
           {"raw bytes that are no UTF-8", "action=load&x=\xff", "", nullptr, "", false},
           {"escaped NUL", "action=load&x=a%00b", "", nullptr, "", false},
           {"field without a value", "action=load&x", "", nullptr, "", false},
           {"bad query before a good body", "%", form, "11", "action=load", false},
           {"raw NUL", "", form, "13", "action=load\0x"s, false},
           {"short body", "", form, "12", "action=load", false},
           {"largest body", "", form, "65536", "action=load&x=" + std::string(65522, 'x'), true},
           {"large body", "", form, "65537", "action=load&x=" + std::string(65523, 'x'), false},
           {"length is text", "", form, "many", "action=load", false},
           {"negative length", "", form, "-1", "action=load", false},
           {"JSON", "", "application/json", "11", "action=load", false},
           {"JSON, empty", "action=load", "application/json", "0", "", false},
           {"another form type", "", "application/x-www-form-urlencoded2", "11", "action=load",
            false},
           {"no type", "", "", "11", "action=load", false}}) {
    SCOPED_TRACE(row.name);
    std::vector<std::string> environment{"QUERY_STRING="s + row.query, "REMOTE_USER=admin"};
    if (row.length != nullptr) {
      environment.insert(environment.end(), {"REQUEST_METHOD=POST", "CONTENT_TYPE="s + row.type,
                                             "CONTENT_LENGTH="s + row.length});
    }
    const Result result = RunProgram({"dtv_manage.cgi"}, environment, row.body);
    const std::string body = result.Body();
    const std::string type = "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Length: " +
                             std::to_string(body.size()) + "\r\n\r\n";
    EXPECT_EQ(result.status, row.is_served ? 0 : 1);
    EXPECT_EQ(result.output, (row.is_served ? "" : "Status: 400 Bad Request\r\n") + type + body);
    EXPECT_EQ(body.find('\n'), body.size() - 1) << "one line: the answer, or the reason";
    EXPECT_EQ(body[0] == '{', row.is_served);
  }
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(Program, OnlyAnAdministratorOfTheSameOriginIsServed) {
  struct Row {
    const char* user;
    std::vector<std::string> headers;
    bool is_served;
  };
  const auto before = Snapshot();
  for (const Row& row : std::vector<Row>{
           {"admin", {}, true},
           {"", {}, false},
           {"alice", {}, false},
           {"nobody", {}, false},
           {"admin", {"HTTP_SEC_FETCH_SITE=same-origin", "HTTP_ORIGIN=http://evil"}, true},
           {"admin", {"HTTP_SEC_FETCH_SITE=none"}, true},
           {"admin", {"HTTP_SEC_FETCH_SITE=same-site"}, false},
           {"admin", {"HTTP_SEC_FETCH_SITE=cross-site"}, false},
           {"admin", {"HTTP_ORIGIN=http://nas:8080", "HTTP_HOST=NAS:8080"}, true},
           {"admin", {"HTTP_ORIGIN=https://nas", "HTTP_HOST=nas:443"}, true},
           {"admin", {"HTTP_ORIGIN=http://nas:8081", "HTTP_HOST=nas:8080"}, false},
           {"admin", {"HTTP_ORIGIN=http://nas.evil", "HTTP_HOST=nas"}, false},
           {"admin", {"HTTP_ORIGIN=http://nas@evil", "HTTP_HOST=nas"}, false},
           {"admin", {"HTTP_ORIGIN=null", "HTTP_HOST=nas"}, false},
           {"admin", {"HTTP_ORIGIN=null"}, false},
           {"admin", {"HTTP_ORIGIN=http://nas"}, false}}) {
    SCOPED_TRACE(row.user + (row.headers.empty() ? ""s : " " + row.headers[0]));
    for (const std::string action : {"load", "save&disable_dtv=yes"}) {
      if (row.is_served && action != "load") {
        continue;
      }
      const Result result = Post("action=" + action, row.user, row.headers);
      EXPECT_EQ(result.status, row.is_served ? 0 : 1);
      EXPECT_EQ(result.Answer()["errinfo"]["key"],
                row.is_served ? Json::Value() : Json::Value("error_privilege_not_enough"));
    }
  }
  EXPECT_EQ(Snapshot(), before);
  fs::remove(kRoot + "/etc/group");
  EXPECT_EQ(Post("action=load").status, 1) << "nobody is known as an administrator";
}

// What a person or a page could send, and somebody could hope to see executed.
const std::vector<std::string> kTexts{"quote'd \"name\"",
                                      "100%+1;2&3=4",
                                      "$(touch /tmp/x) `id` && rm -rf *",
                                      "two\nlines\r\n",
                                      "\t \f leading and trailing \v ",
                                      "../../etc",
                                      "/a//b/",
                                      "übung 録画 😀",
                                      "\\n \\s [settings] #x",
                                      "-D",
                                      std::string(4096, 'x')};

TEST_F(Program, TextsAreStoredAndReadBackByteForByte) {
  for (const std::string& text : kTexts) {
    SCOPED_TRACE(text.substr(0, 40));
    ResetRoot();
    const Result result = Save({{"share", "music"},
                                {"subpath", text},
                                {"account", text},
                                {"passwd", text},
                                {"disable_dtv", text}});
    EXPECT_EQ(result.status, 0) << result.log;
    const Json::Value folders = Stored(SystemPaths::kFolderConf);
    EXPECT_EQ(folders[folders.size() - 1]["subpath"], text);
    EXPECT_EQ(Stored(SystemPaths::kStreamConf)["passwd"], text);
    const Json::Value data = Load();
    EXPECT_EQ(data["account"], text);
    EXPECT_EQ(data["dtv_destination"], "/music/" + text);
    EXPECT_EQ(TLIBCFileCheckKeyValue(SystemPaths::kDTVSettingConf, "disable_dtv", text.c_str(), 0),
              1);
    char buffer[32];
    EXPECT_EQ(TLIBCFileGetKeyValue(SystemPaths::kDTVSettingConf, "disable_dtv", buffer, 32, 0),
              static_cast<int>(text.size()));
    EXPECT_EQ(buffer, text.substr(0, 31));
    EXPECT_EQ(ReadFile(kRoot + "/var/log/teskindex.log"),
              "teskindex -A \"" + kRoot + "/volume1/music/" + text + "\" -P Cinquill\n");
    EXPECT_EQ(ReadFile(kRoot + "/var/log/teskdtv.log"), "teskdtv.sh start FORCE\n");
  }
}

TEST_F(Program, SavingTheSameAgainTouchesNothing) {
  const Parameters parameters{{"share", "tv"},    {"subpath", "rec"},   {"pre_recording", "3"},
                              {"account", "eve"}, {"passwd", "secret"}, {"disable_dtv", "yes"}};
  EXPECT_EQ(Save(parameters).status, 0);
  EXPECT_NE(ReadFile(kRoot + "/etc/tesk/shares.conf").find("path=/volume2/tv\nindex=1"),
            std::string::npos);
  const auto before = Snapshot();
  EXPECT_EQ(Save(parameters).status, 0);
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(Program, NoContentOfASettingsFileEndsTheProcess) {
  const std::string deep_list = std::string(10000, '[') + std::string(10000, ']');
  std::vector<std::string> contents{"",
                                    "{",
                                    "[{\"share\": \"vid",
                                    "{\"account\": \"\xff\xfe\xc0\x80\"}",
                                    "[{\"share\": \"\xff\", \"section\": \"tv_record\"}]",
                                    "{\"account\": \"\\ud800 \\u0000\"}",
                                    "{\"a\": 1e999}",
                                    "\0\0"s,
                                    deep_list,
                                    std::string(10000, '[')};
  for (const std::string value : {"null", "true", "0", "-7", "18446744073709551615", "1.5", "1e300",
                                  "\"\"", "\"text\"", "[]", "[1]", "{}", "{\"a\": {}}"}) {
    std::string members;
    for (const char* member :
         {"closestreaming", "pre_recording", "post_recording", "enableauth", "account", "passwd",
          "enable_viewer_limit", "streaminglimit", "share", "subpath", "section", "section_name",
          "path", "library_id"}) {
      members += (members.empty() ? "\"" : ", \"") + std::string(member) + "\": " + value;
    }
    contents.insert(contents.end(), {value, "{" + members + "}", "[{" + members + "}]",
                                     "[{\"section\": \"tv_record\", \"share\": " + value + "}]"});
  }
  for (const std::string& content : contents) {
    SCOPED_TRACE(content.substr(0, 60));
    ResetRoot();
    for (const char* file : {SystemPaths::kFolderConf, SystemPaths::kRecordConf,
                             SystemPaths::kStreamConf, SystemPaths::kDTVSettingConf}) {
      WriteFile(file, content);
    }
    EXPECT_TRUE(Load().isObject());
    const Result result = Save({{"share", "photo"}, {"pre_recording", "4"}});
    EXPECT_GE(result.status, 0) << result.log;
    EXPECT_TRUE(result.Answer()["success"].isBool());
    EXPECT_EQ(Load()["pre_recording"], 4);
    EXPECT_EQ(Load()["dtv_destination"], "/photo");
  }
}

TEST_F(Program, WhatStandsInAFilesPlaceIsNoReasonToFailInAnotherWay) {
  const std::string etc = kRoot + "/var/packages/Cinquill/etc";
  struct Row {
    const char* name;
    std::function<void()> prepare;
    bool succeeds;
  };
  const auto replace = [](const std::string& file, const std::string& script) {
    WriteFile(file, "#!/bin/sh\n" + script + "\n");
  };
  const std::string control = SystemPaths::kDTVControlScript;
  const std::string tool = SystemPaths::kIndexTool;
  const auto link_full = [](const char* file) {
    fs::remove(file);
    fs::create_symlink("/dev/full", file);
  };
  const auto folder = [](const char* file) {
    fs::remove(file);
    fs::create_directory(file);
  };
  for (const Row& row : std::vector<Row>{
           {"folder.conf is a folder", [&] { folder(SystemPaths::kFolderConf); }, false},
           {"record.conf is a folder", [&] { folder(SystemPaths::kRecordConf); }, false},
           {"stream.conf is a folder", [&] { folder(SystemPaths::kStreamConf); }, false},
           {"the switch is a folder", [&] { folder(SystemPaths::kDTVSettingConf); }, false},
           {"no etc folder", [&] { fs::remove_all(etc); }, false},
           {"disk full for large files", [&] { link_full(SystemPaths::kStreamConf); }, false},
           {"disk full, unseen for small files", [&] { link_full(SystemPaths::kRecordConf); },
            true},
           {"no share database", [&] { fs::remove(kRoot + "/etc/tesk/shares.conf"); }, false},
           {"no indexing tool", [&] { fs::remove(tool); }, true},
           {"the indexing tool fails and prints",
            [&] { replace(tool, "echo '{\"success\": true}'; exit 3"); }, true},
           {"no control script", [&] { fs::remove(control); }, true},
           {"the control script fails and prints",
            [&] { replace(control, "echo '{\"success\": true}'; exit 3"); }, true},
           {"no probe", [&] { fs::remove_all(kRoot + "/var/packages/Cinquill/scripts"); }, true}}) {
    SCOPED_TRACE(row.name);
    ResetRoot();
    row.prepare();
    const Result result =
        Save({{"share", "tv"}, {"account", std::string(10000, 'x')}, {"disable_dtv", "yes"}});
    const std::string body = row.succeeds ? "{\"success\":true}\n" : "{\"success\":false}\n";
    EXPECT_EQ(result.output, "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Length: " +
                                 std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_EQ(result.status, row.succeeds ? 0 : 1);
    EXPECT_FALSE(Load()["DVB_conflict"].asBool());
  }
  ResetRoot();
  EXPECT_FALSE(Load()["disable_dtv"].asBool());
  WriteFile(SystemPaths::kRecordConf, "{\"pre_recording\": 5, ");
  EXPECT_FALSE(Load().isMember("account")) << "half a document is none";
  ASSERT_EQ(mkfifo(SystemPaths::kDTVSettingConf, 0600), 0);
  EXPECT_TRUE(Load()["disable_dtv"].asBool()) << "an error reads as switched off";
  ResetRoot();
  const Result unknown = Save({{"share", "unknown"}, {"pre_recording", "9"}});
  EXPECT_EQ(unknown.Body(), "{\"success\":false}\n");
  EXPECT_NE(unknown.log.find("Failed to share index set"), std::string::npos);
  EXPECT_EQ(Load()["dtv_destination"], "/unknown");
  EXPECT_NE(Load()["pre_recording"], 9);
}

// Signal 0 asks only whether the process could be reached: a mistake here must harm nobody.
TEST_F(Program, SignalsReachOneProcessAloneOrNobody) {
  const std::string self = std::to_string(getpid());
  const std::string file = SystemPaths::kVideoIndexDaemonPid;
  for (const auto& [content, result] :
       std::vector<std::pair<std::string, int>>{{self + "\n", 0},
                                                {self, 0},
                                                {"", -1},
                                                {"0\n", -1},
                                                {"1\n", -1},
                                                {"-1\n", -1},
                                                {"-" + self, -1},
                                                {"+" + self, -1},
                                                {" " + self, -1},
                                                {self + "\n\n", -1},
                                                {self + " 1", -1},
                                                {self + "\0"s, -1},
                                                {"4294967297\n", -1},
                                                {"2147483647\n", -1},
                                                {"daemon", -1}}) {
    WriteFile(file, content);
    EXPECT_EQ(TLIBCProcSignalByPidFile(file.c_str(), 0), result) << content;
  }
  static volatile std::sig_atomic_t received = 0;
  std::signal(SIGUSR2, [](int) { received = received + 1; });
  WriteFile(file, self + "\n");
  EXPECT_EQ(Save({{"share", "tv"}}).status, 0);
  std::signal(SIGUSR2, SIG_DFL);
  EXPECT_EQ(received, 1);
}

TEST(HostExec, TellsHowTheProgramEnded) {
  EXPECT_EQ(TLIBCExec("/bin/sh", "-c", "exit $#", "sh", "one"), 1);
  EXPECT_EQ(TLIBCExec("/bin/sh", "-c", "kill -9 $$", "", ""), -1);
  EXPECT_EQ(TLIBCExec("/no/such/program", "", "", "", ""), -1);
}

TEST_F(Program, ThePasswordStandsInItsFileAlone) {
  const std::string first = "Geheim-9f31c2";
  const std::string second = "Geheim-77ab04";
  // The scripts write down what they and their parent were started with.
  const std::string spy =
      "#!/bin/sh\ncat /proc/$$/cmdline /proc/$PPID/cmdline >> " + kRoot + "/var/log/seen\nexit 1\n";
  WriteFile(SystemPaths::kIndexTool, spy);
  WriteFile(SystemPaths::kDTVControlScript, spy);
  std::string said;
  const auto keep = [&](const Result& result) { said += result.output + result.log; };
  keep(Save(
      {{"share", "tv"}, {"passwd", first}, {"password_confirm", first}, {"disable_dtv", "yes"}}));
  keep(Post("action=load"));
  EXPECT_EQ(Stored(SystemPaths::kStreamConf)["passwd"], first);
  keep(Save({{"share", "music"}, {"passwd", second}, {"password_confirm", first}}));
  keep(Save({{"share", "video"}, {"passwd", first}}));    // overlaps a library
  keep(Save({{"share", "unknown"}, {"passwd", first}}));  // no such share
  keep(Post("action=save&passwd=" + first, "alice"));
  keep(Post("action=save&passwd=" + first + "%zz"));
  keep(Post("action=" + first));
  keep(Post("action=load"));
  fs::rename(SystemPaths::kStreamConf, kRoot + "/aside");
  fs::create_directory(SystemPaths::kStreamConf);
  keep(Save({{"passwd", first}}));
  fs::remove(SystemPaths::kStreamConf);
  fs::rename(kRoot + "/aside", SystemPaths::kStreamConf);

  EXPECT_EQ(Stored(SystemPaths::kStreamConf)["passwd"], second);
  EXPECT_EQ(said.find("Geheim"), std::string::npos) << said;
  EXPECT_NE(ReadFile(kRoot + "/var/log/seen"), "");
  for (const auto& [file, content] : Snapshot()) {
    EXPECT_EQ(content.find("Geheim") != std::string::npos, file == SystemPaths::kStreamConf)
        << file;
  }
}

TEST(HostPaths, AreComparedByWholeComponentsOfTheirNormalForm) {
  struct Row {
    const char* path;
    const char* parent;
    bool is_inside;
  };
  for (const Row& row : std::vector<Row>{{"/v/tv", "/v/tv", true},
                                         {"/v/tv/x", "/v/tv", true},
                                         {"/v/tv", "/v/tv/x", false},
                                         {"/v/tv2", "/v/tv", false},
                                         {"/V/tv", "/v/tv", false},
                                         {"/v/tv/", "/v/tv", true},
                                         {"/v/tv", "/v/tv/", true},
                                         {"//v///tv", "/v/tv", true},
                                         {"/v/./x/../tv", "/v/tv", true},
                                         {"/v/tv/..", "/v/tv", false},
                                         {"/v/.tv/x", "/v/.tv", true},
                                         {"/../v", "/v", true},
                                         {"/v", "/", true},
                                         {"v/tv", "/v/tv", false},
                                         {"./v/tv", "v", true},
                                         {"", "", true},
                                         {"", "/", false},
                                         {"/", "", false}}) {
    EXPECT_EQ(TESKIndexUtils::IsEqualOrSubPath(row.path, row.parent), row.is_inside)
        << row.path << " in " << row.parent;
  }
}

TEST_F(Program, PackagectlShowsUsersAndQueues) {
  struct Row {
    std::vector<std::string> arguments;
    int status;
    const char* output;
  };
  WriteFile(SystemPaths::kIndexingQueueTmp, "A:/volume1/video/film.mkv\n");
  std::ofstream(kRoot + "/etc/passwd", std::ios::app) << "system:x:999:1::/:\nfirst:x:1000:1::/:\n";
  std::ofstream(kRoot + "/etc/tesk/app_privileges", std::ios::app)
      << "TESK.DXQ.Cinquill.AppInstance:x:3:root,system,first\n"
      << "TESK.DXQ.Cinquill.AppInstance2:x:4:bob\n";
  for (const Row& row : std::vector<Row>{
           {{"users"}, 0, "1002\talice\n1004\tcarol\n1000\tfirst\ntotal 3\n"},
           {{"users", "--offset", "1", "--limit", "5"}, 0, "1004\tcarol\n1000\tfirst\ntotal 3\n"},
           {{"users", "--limit=0"}, 0, "total 3\n"},
           {{"queued", "/volume1/video/film.mkv"}, 0, "queued\n"},
           {{"queued", "/volume1/video"}, 1, "not queued\n"},
           {{"queued"}, 2, ""},
           {{"users", "more"}, 2, ""},
           {{"users", "--limit", "many"}, 2, ""},
           {{}, 2, ""}}) {
    std::vector<std::string> command{"packagectl"};
    command.insert(command.end(), row.arguments.begin(), row.arguments.end());
    const Result result = RunProgram(command, {}, "");
    EXPECT_EQ(result.status, row.status) << result.log;
    EXPECT_EQ(result.output, row.output);
    EXPECT_EQ(result.log.find("usage:") != std::string::npos, row.status == 2);
  }
  fs::remove(kRoot + "/etc/passwd");
  const Result result = RunProgram({"packagectl", "users"}, {}, "");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_NE(result.log.find("Failed to open user db"), std::string::npos);
}

}  // namespace
}  // namespace Cinquill
