// What "load" shows, what "save" stores and what it leaves alone.
#include <glib.h>
#include <unistd.h>

#include <cstdlib>

#include "host/platform/glib_ptr.h"
#include "tests/test.h"

namespace Harness {

TEST(Load, ShowsEachGroupByTheOtherGroupsFile) {
  ResetRoot();
  WriteFile(kFolderConf, R"([{"section": "tv_record", "share": "video", "subpath": "tv/rec"}])");
  WriteFile(kDTVSettingConf, "[settings]\ndisable_dtv=yes\n");
  // record.conf and stream.conf, null for none; the members below, "-" for one that is not there.
  for (const Json::Value& row : Rows(R"(
      [null, null, [false, 180, 120, false, "-", "-", "-", false, 1]],
      [null, {"enableauth": "yes", "account": "eve", "streaminglimit": 9},
       [false, 0, 0, false, "-", "-", "-", false, 1]],
      [{"closestreaming": "yes", "pre_recording": 5, "post_recording": 6}, null,
       [false, 180, 120, false, null, "24681357", "75318642", false, 0]],
      [{"closestreaming": "yes", "pre_recording": 5, "post_recording": 6},
       {"enableauth": "yes", "account": "eve", "enable_viewer_limit": "yes", "streaminglimit": 9},
       [true, 5, 6, true, "eve", "24681357", "75318642", true, 9]],
      [{"closestreaming": "Yes", "pre_recording": "10", "post_recording": 3000000000},
       {"enableauth": true, "account": {"a": 1}, "enable_viewer_limit": ["yes"]},
       [false, 0, 0, false, {"a": 1}, "24681357", "75318642", false, 0]],
      [[], 7, [false, 180, 120, false, "-", "-", "-", false, 1]])")) {
    WriteFile(kRecordConf, row[0].toStyledString());
    WriteFile(kStreamConf, row[1].toStyledString());
    const Json::Value data = Load();
    Json::Value members;
    for (const char* member :
         {"closestreaming", "pre_recording", "post_recording", "enableauth", "account", "passwd",
          "password_confirm", "enable_viewer_limit", "streaming_limit"}) {
      members.append(data.isMember(member) ? data[member] : "-");
    }
    EXPECT_EQ(members, row[2]) << row;
    EXPECT_EQ(data["dtv_destination"], "/video/tv/rec");
    EXPECT_EQ(data["disable_dtv"], true);
  }
}

TEST(Load, TakesOnlyTheLineYesForAConflict) {
  ResetRoot();
  const std::string command = kDVBConflictProbe;
  // The probe's output, as printf(1) takes it; whether it tells of a conflict.
  for (const Json::Value& row : Rows(R"(["yes\\n", true], ["yes\\nno\\n", true], ["yes", true],
      ["yes \\n", false], ["\\nyes\\n", false], ["\\000yes\\n", false], ["", false],
      ["yesyesyesyesyesyes", false])")) {
    WriteFile(command.substr(0, command.rfind(' ')),
              "#!/bin/sh\n[ $* = check ] && printf '" + row[0].asString() + "'\nexit 1\n");
    const Outcome outcome = Serve(Post("action=load"));
    EXPECT_EQ(outcome.answer["data"]["DVB_conflict"], row[1]) << row;
    EXPECT_EQ(outcome.journal[7] == "log 3 dtv_manage Failed to read result", row[0] == "");
    EXPECT_EQ(outcome.journal.back(), "pclose");
  }
}

TEST(Destination, IsReplacedOnceUnlessItOverlaps) {
  // The records that are stored; the save; what becomes of the destination.
  for (const Json::Value& row : Rows(R"([[], "share=video&subpath=tv", "replaced"],
      [[{"section": "tv_record", "share": "video", "subpath": "tv"}], "subpath=x", "unchanged"],
      [[{"section": "tv_record", "share": "video", "subpath": "tv"}], "share=video&subpath=tv",
       "unchanged"],
      [[{"section": "tv_record", "share": "video", "subpath": "tv"}], "share=tv&subpath=tv",
       "replaced"],
      [[{"section": "tv_record", "share": "video", "subpath": "tv"}], "share=video&subpath=tv/new",
       "replaced"],
      [[{"section": "movie", "share": "video", "subpath": "m"}], "share=video&subpath=m/tv",
       "refused"],
      [[{"section": "tv_record", "share": "video"}, {"section": "tv_record", "share": "music"}],
       "share=music&subpath=x", "refused"])")) {
    SCOPED_TRACE(row);
    ResetRoot();
    WriteFile(kFolderConf, row[0].toStyledString());
    const std::string seen = kRoot + "/seen"s;  // folder.conf as the tool first finds it
    WriteFile(kIndexTool, "#!/bin/sh\n[ -e "s + seen + " ] || cp " + kFolderConf + " " + seen);
    const std::string form = row[1].asString() + "&account=eve&passwd=secret&disable_dtv=yes";
    const Outcome outcome = Save(form);
    EXPECT_EQ(ReadFile(kRecordConf).empty(), row[2] == "refused");
    EXPECT_EQ(ReadFile(kFolderConf) != row[0].toStyledString(), row[2] == "replaced");
    EXPECT_EQ(ReadFile(seen), row[2] == "replaced" ? ReadFile(kFolderConf) : "");
    const std::string path = "\"path\":\"" + Load()["dtv_destination"].asString();
    const std::string record = path + R"(","section":"tv_record","section_name":"TV Recorder")";
    EXPECT_EQ(ReadFile(kFolderConf).find(record) < std::string::npos, row[2] == "replaced");
    if (row[2] == "refused") {
      EXPECT_EQ(outcome.answer, Parse(R"({"success": false,
          "errinfo": {"sec": "error", "key": "error_duplicate_path"}})"));
      EXPECT_EQ(outcome.journal[3], "log 3 dtv_manage record folder conflicts");
    }
    TakeWrites();
    EXPECT_TRUE(Save(form).status == outcome.status && !TakeWrites()) << "the same again";
  }
}

TEST(Save, ConvertsRecordingOptions) {
  for (const Json::Value& row : Rows(R"(
      ["", {"closestreaming": "no", "pre_recording": 0, "post_recording": 0}],
      ["closestreaming=true&pre_recording=+-010min&post_recording=-99999999999999999999",
       {"closestreaming": "yes", "pre_recording": -10, "post_recording": -2147483648}],
      ["closestreaming=TRUE&pre_recording=2147483648",
       {"closestreaming": "no", "pre_recording": 2147483647, "post_recording": 0}])")) {
    WriteFile(kRecordConf, R"({"other": [1, {"kept": true}], "pre_recording": "10"})");
    EXPECT_EQ(Save(row[0].asString()).status, 0);
    Json::Value expected = row[1];
    expected["other"] = Parse(R"([1, {"kept": true}])");
    EXPECT_EQ(Parse(ReadFile(kRecordConf)), expected) << row;
  }
}

TEST(Save, KeepsPasswordAndAccountUnlessEnteredAnew) {
  for (const Json::Value& row : Rows(R"(
      ["", "old", "eve", "no", 1],
      ["passwd=24681357&account=bob&enable_viewer_limit=TRUE", "old", "bob", "no", 1],
      ["passwd=new&password_confirm=75318642&streaming_limit=-3", "old", "eve", "no", -3],
      ["passwd=new&password_confirm=x&enable_viewer_limit=true", "new", "eve", "yes", 1])")) {
    WriteFile(kStreamConf, R"({"passwd": "old", "account": "eve", "other": 1.5})");
    Save("enableauth=true&" + row[0].asString());
    Json::Value expected = Parse(R"({"enableauth": "yes", "other": 1.5})");
    expected["passwd"] = row[1];
    expected["account"] = row[2];
    expected["enable_viewer_limit"] = row[3];
    expected["streaminglimit"] = row[4];
    EXPECT_EQ(Parse(ReadFile(kStreamConf)), expected) << row;
  }
}

TEST(Save, StopsOrStartsTheServiceWhenTheSwitchChanges) {
  // Stored (%zz cannot be read) and requested; whether it is stored; what the script is told.
  for (const Json::Value& row : Rows(R"(["x", "x", false, ""], ["", "no", true, ""],
      ["", "yes", true, "stop"], ["yes", "no", true, "start"], ["%zz", "no", true, ""],
      ["yes", "yes;reboot", true, "start"])")) {
    ResetRoot();
    const std::string before = row[0] == "" ? "" : "[settings]\ndisable_dtv=" + row[0].asString();
    WriteFile(kDTVSettingConf, before);
    Save("disable_dtv=" + row[1].asString());
    EXPECT_EQ(ReadFile(kDTVSettingConf) != before, row[2].asBool()) << row;
    EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "disable_dtv", row[1].asCString(), 0), 1);
    EXPECT_EQ(ReadFile(kRoot + "/var/log/teskdtv.log"s),
              row[3] == "" ? "" : "teskdtv.sh " + row[3].asString() + " FORCE\n");
  }
}

// What a person or a page could send, and somebody could hope to see executed.
TEST(Save, KeepsTextsByteForByte) {
  for (const std::string& text :
       {"$(touch x) `id` && 'quote' \"x\" \\n [s] #"s, "100%+1;2&3=4 übung 録画 😀"s,
        " \t\f two\nlines\r\n "s, "/../../etc//b/"s, "-D "s + std::string(4096, 'x')}) {
    ResetRoot();
    const std::string sent = Host::GCharPtr(g_uri_escape_string(text.c_str(), "", FALSE)).get();
    Save("share=music&subpath=" + sent + "&account=" + sent + "&disable_dtv=" + sent);
    EXPECT_EQ(Load()["account"], text);
    EXPECT_EQ(Load()["dtv_destination"], "/music/" + text);
    EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "disable_dtv", text.c_str(), 0), 1);
    EXPECT_EQ(ReadFile(kRoot + "/var/log/teskindex.log"s),
              "teskindex -A \""s + kRoot + "/volume1/music/" + text + "\" -P Cinquill\n");
  }
}

TEST(Save, PutsThePasswordIntoItsFileAlone) {
  ResetRoot();
  // The programs write down their command line, environment and those of their parent.
  const std::string spy =
      "#!/bin/sh\ncat /proc/$$/cmdline /proc/$PPID/{cmdline,environ} /proc/$$/environ >> ";
  for (const char* program : {kIndexTool, kDTVControlScript}) {
    WriteFile(program, spy + kRoot + "/seen\nexit 1\n");
  }
  std::string said;
  // Stored; refused for an overlap, for an unknown share, as malformed, as an unknown action;
  // shown.
  for (const std::string form :
       {"save&share=tv&passwd=Geheim&disable_dtv=yes", "save&share=video&passwd=Geheim2",
        "save&share=x&passwd=Geheim2", "save&passwd=Geheim%zz", "Geheim", "load"}) {
    Request request = Post("action=" + form);
    request.environment.emplace_back("HTTP_AUTHORIZATION=Basic Geheim");
    // Standard error is the web server's log.
    const auto run = [] { return dup2(STDOUT_FILENO, STDERR_FILENO) >= 0 && RunDTVManage(); };
    const Outcome outcome = Serve(request, -1, run);
    said += outcome.output + testing::PrintToString(outcome.journal);
  }
  EXPECT_EQ(said.find("Geheim"), std::string::npos) << said;
  const std::string seen = ReadFile(kRoot + "/seen"s);
  EXPECT_TRUE(!seen.empty() && seen.find("HTTP_AUTHORIZATION") == std::string::npos) << seen;
  const std::string find = "test \"$(grep -rl Geheim "s + kRoot + ")\" = " + kStreamConf;
  EXPECT_EQ(std::system(find.c_str()), 0);
}

TEST(Save, IsEndedByNoContentOfASettingsFile) {
  for (const std::string& content :
       {"-1e999"s, "[1]"s, "\0\0"s, std::string(10000, '[') + std::string(10000, ']'),
        R"([{"section": "tv_record", "share": [1], "subpath": {}, "library_id": null}])"s,
        "{\"account\": \"\xff\", \"pre_recording\": 1e300, \"closestreaming\": {}}"s}) {
    SCOPED_TRACE(content.substr(0, 60));
    ResetRoot();
    for (const char* file : {kFolderConf, kRecordConf, kStreamConf, kDTVSettingConf}) {
      WriteFile(file, content);
    }
    EXPECT_TRUE(Load().isObject());
    EXPECT_TRUE(Save("share=photo&pre_recording=4").answer.isObject());
    EXPECT_EQ(Load()["pre_recording"], 4);
    EXPECT_EQ(Load()["dtv_destination"], "/photo");
  }
}

}  // namespace Harness
