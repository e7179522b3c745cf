#include "dtv_manage/dtv_manage.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/system_paths.h"
#include "tests/recording_platform.h"
#include "tests/test_root.h"

namespace Cinquill::CGI {
namespace {

using namespace std::string_literals;
using Recording::Answers;
using Recording::Journal;
using Recording::Outcome;
using SystemPaths::kFolderConf;
using SystemPaths::kRecordConf;
using SystemPaths::kStreamConf;

const Journal kAnswer{"header text/plain; charset=\"UTF-8\"", "body"};

Outcome Perform(const std::string& request, Answers answers = {}) {
  answers.request = request;
  return Recording::Perform(answers);
}

Outcome Save(const std::string& parameters) { return Perform("action=save&" + parameters); }

Json::Value Stored(const char* file) { return Parse(ReadFile(file)); }

class DTVManageTest : public testing::Test {
 protected:
  void SetUp() override { ResetRoot(); }
};

TEST_F(DTVManageTest, OnlyTheTwoActionsAreServed) {
  for (const char* action :
       {"", "action=", "action=Load", "action=load ", "action=save\n", "action=delete"}) {
    SCOPED_TRACE(action);
    const Outcome outcome = Perform(action);
    EXPECT_FALSE(outcome.succeeded);
    EXPECT_EQ(outcome.answer, Parse(R"({"success": false})"));
    EXPECT_EQ(outcome.journal, (Journal{"check_authorized", "is_admin", kAnswer[0], kAnswer[1]}));
  }
}

// ---- Load

TEST_F(DTVManageTest, EachGroupOfLoadHangsOnTheOtherGroupsFile) {
  const std::string record =
      R"({"closestreaming": "yes", "pre_recording": 5, "post_recording": 6})";
  const std::string stream = R"({"enableauth": "yes", "account": "eve", "passwd": "secret",
      "enable_viewer_limit": "yes", "streaminglimit": 9})";
  struct Row {
    const char* name;
    std::string record, stream;
    bool closestreaming;
    int pre_recording, post_recording;
    bool enableauth;
    const char* account;  // null: neither account nor placeholders
    bool enable_viewer_limit;
    int streaming_limit;
  };
  for (const Row& row : std::vector<Row>{
           {"neither", "", "", false, 180, 120, false, nullptr, false, 1},
           {"stream only", "", stream, false, 0, 0, false, nullptr, false, 1},
           {"record only", record, "", false, 180, 120, false, "null", false, 0},
           {"both", record, stream, true, 5, 6, true, "\"eve\"", true, 9},
           {"near misses",
            R"({"closestreaming": "Yes", "pre_recording": "10", "post_recording": 3000000000})",
            R"({"enableauth": true, "account": {"a": 1}, "enable_viewer_limit": ["yes"],
                "streaminglimit": 2.9})",
            false, 0, 0, false, R"({"a": 1})", false, 2},
           {"no objects count as missing", "[]", "7", false, 180, 120, false, nullptr, false, 1}}) {
    SCOPED_TRACE(row.name);
    ResetRoot();
    if (!row.record.empty()) {
      WriteFile(kRecordConf, row.record);
    }
    if (!row.stream.empty()) {
      WriteFile(kStreamConf, row.stream);
    }
    Json::Value expected;
    expected["closestreaming"] = row.closestreaming;
    expected["pre_recording"] = row.pre_recording;
    expected["post_recording"] = row.post_recording;
    expected["enableauth"] = row.enableauth;
    if (row.account != nullptr) {
      expected["account"] = Parse(row.account);
      expected["passwd"] = "24681357";
      expected["password_confirm"] = "75318642";
    }
    expected["enable_viewer_limit"] = row.enable_viewer_limit;
    expected["streaming_limit"] = row.streaming_limit;
    expected["dtv_destination"] = "";
    expected["disable_dtv"] = false;
    expected["DVB_conflict"] = false;
    const Outcome outcome = Perform("action=load");
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_EQ(outcome.answer["data"], expected);
  }
}

TEST_F(DTVManageTest, LoadAsksInAFixedOrder) {
  WriteFile(kFolderConf,
            R"([{"section": "tv_record", "share": "video", "subpath": "tv/rec", "path": "/x"}])");
  Answers answers;
  answers.stored_switch = "yes";
  const Outcome outcome = Perform("action=load", answers);
  EXPECT_EQ(outcome.answer["data"]["dtv_destination"], "/video/tv/rec");
  EXPECT_EQ(outcome.answer["data"]["disable_dtv"], true);
  const std::string etc = "/var/packages/Cinquill/etc/";
  EXPECT_EQ(outcome.journal,
            (Journal{"check_authorized", "is_admin", "read " + etc + "folder.conf",
                     "read " + etc + "stream.conf", "read " + etc + "record.conf",
                     "check " + etc + "dtv_setting.conf disable_dtv yes 0",
                     "popen /var/packages/Cinquill/scripts/check-dvb-conflict.sh check r", "pclose",
                     "header text/plain; charset=\"UTF-8\"", "body"}));
}

TEST_F(DTVManageTest, OnlyTheLineYesIsAConflict) {
  const std::string log = "log 3 dtv_manage: Failed to read result";
  struct Row {
    std::string output;
    bool conflict;
  };
  for (const Row& row : std::vector<Row>{{"yes\n", true},
                                         {"yes", true},
                                         {"yes\nno\n", true},
                                         {"yes \n", false},
                                         {" yes\n", false},
                                         {"Yes\n", false},
                                         {"yes\r\n", false},
                                         {"\nyes\n", false},
                                         {"yesyesyesyesyes\n", false},
                                         {"yesyesyesyesyesyes\n", false},
                                         {std::string("\0yes\n", 5), false},
                                         {"", false}}) {
    SCOPED_TRACE(row.output);
    Answers answers;
    answers.probe_output = row.output;
    const Outcome outcome = Perform("action=load", answers);
    EXPECT_EQ(outcome.answer["data"]["DVB_conflict"], row.conflict);
    EXPECT_EQ(std::count(outcome.journal.begin(), outcome.journal.end(), log), row.output.empty());
    EXPECT_EQ(std::count(outcome.journal.begin(), outcome.journal.end(), "pclose"), 1);
  }
}

// ---- Save

TEST_F(DTVManageTest, SaveRunsTheSaversInOrder) {
  WriteFile(kFolderConf, R"([{"section": "tv_record", "share": "gone", "subpath": "old", "note": 1},
                   {"section": "movie", "share": "photo", "subpath": "m"}])");
  const Outcome outcome = Save("share=video&subpath=tv&disable_dtv=yes");
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_EQ(outcome.answer, Parse(R"({"success": true})"));
  const std::string etc = "/var/packages/Cinquill/etc/";
  EXPECT_EQ(outcome.journal,
            (Journal{"check_authorized",
                     "is_admin",
                     "read " + etc + "folder.conf",
                     "changed folder.conf",
                     "share_get gone",
                     "exec /usr/tesk/bin/teskindex -D [] -P Cinquill",
                     "share_index_set 1 video",
                     "signal /var/run/teskindexd.pid 12",
                     "signal /var/run/teskvideoindexd.pid 12",
                     "signal /var/run/teskvideometadatad.pid 12",
                     "share_get video",
                     "share_free",
                     "exec /usr/tesk/bin/teskindex -A [/volume1/video/tv] -P Cinquill",
                     "read " + etc + "record.conf",
                     "changed record.conf",
                     "read " + etc + "stream.conf",
                     "changed stream.conf",
                     "get " + etc + "dtv_setting.conf disable_dtv 32 0",
                     "set " + etc + "dtv_setting.conf disable_dtv yes 0",
                     "system /var/packages/Cinquill/scripts/teskdtv.sh stop FORCE > /dev/null",
                     "header text/plain; charset=\"UTF-8\"",
                     "body"}));
  EXPECT_EQ(Stored(kFolderConf), Parse(R"([
      {"section": "movie", "share": "photo", "subpath": "m", "path": "/photo/m"},
      {"section": "tv_record", "section_name": "TV Recorder", "share": "video", "subpath": "tv",
       "path": "/video/tv"}])"));
}

TEST_F(DTVManageTest, DestinationIsReplacedUnlessItOverlaps) {
  const std::string library = R"({"section": "movie", "share": "video", "subpath": "m"})";
  const std::string old = R"({"section": "tv_record", "share": "video", "subpath": "tv"})";
  const std::string second = R"({"section": "tv_record", "share": "music", "subpath": "x"})";
  struct Row {
    const char* name;
    std::string stored;
    const char* share;
    const char* subpath;
    enum { kUnchanged, kReplaced, kRefused } result;
  };
  for (const Row& row : std::vector<Row>{
           {"first destination", "", "video", "tv", Row::kReplaced},
           {"no share", old, "", "elsewhere", Row::kUnchanged},
           {"the stored one", old, "video", "tv", Row::kUnchanged},
           {"letter case is a change", old, "Video", "tv", Row::kReplaced},
           {"below itself", old, "video", "tv/new", Row::kReplaced},
           {"above itself", old, "video", "", Row::kReplaced},
           {"inside a library", old + "," + library, "video", "m/tv", Row::kRefused},
           {"around a library", old + "," + library, "video", "", Row::kRefused},
           {"inside a second recording folder", old + "," + second, "music", "x/y", Row::kRefused},
           {"a library at the old place goes with it",
            old + "," + R"({"section": "movie", "share": "video", "subpath": "tv"})", "video",
            "tv/new", Row::kReplaced}}) {
    SCOPED_TRACE(row.name);
    ResetRoot();
    WriteFile(kFolderConf, "[" + row.stored + "]");
    const std::string before = ReadFile(kFolderConf);
    const Outcome outcome = Save("share="s + row.share + "&subpath=" + row.subpath);
    EXPECT_EQ(outcome.succeeded, row.result != Row::kRefused);
    const bool tool_ran = std::any_of(outcome.journal.begin(), outcome.journal.end(),
                                      [](const std::string& call) { return call[0] == 'e'; });
    EXPECT_EQ(tool_ran, row.result == Row::kReplaced);
    if (row.result == Row::kReplaced) {
      const Json::Value folders = Stored(kFolderConf);
      EXPECT_EQ(folders[folders.size() - 1]["share"], row.share);
      EXPECT_EQ(folders[folders.size() - 1]["subpath"], row.subpath);
      continue;
    }
    EXPECT_EQ(ReadFile(kFolderConf), before);
    EXPECT_EQ(ReadFile(kRecordConf).empty(), row.result == Row::kRefused);
    if (row.result == Row::kRefused) {
      EXPECT_EQ(outcome.answer, Parse(R"({"success": false,
          "errinfo": {"sec": "error", "key": "error_duplicate_path"}})"));
      EXPECT_EQ(outcome.journal[3], "log 3 dtv_manage: record folder conflicts");
    }
  }
}

TEST_F(DTVManageTest, RecordingOptionsAreConvertedAsStored) {
  struct Row {
    const char* parameters;
    const char* stored;
  };
  for (const Row& row : std::vector<Row>{
           {"", R"({"closestreaming": "no", "pre_recording": 0, "post_recording": 0})"},
           {"closestreaming=true&pre_recording= +15min&post_recording=-5",
            R"({"closestreaming": "yes", "pre_recording": 15, "post_recording": -5})"},
           {"closestreaming=TRUE&pre_recording=abc&post_recording=0x10",
            R"({"closestreaming": "no", "pre_recording": 0, "post_recording": 0})"},
           {"closestreaming=true &pre_recording=2147483648&post_recording=-99999999999999999999",
            R"({"closestreaming": "no", "pre_recording": 2147483647,
                "post_recording": -2147483648})"}}) {
    SCOPED_TRACE(row.stored);
    WriteFile(kRecordConf, R"({"other": [1, {"kept": true}], "pre_recording": "10"})");
    Json::Value expected = Parse(row.stored);
    expected["other"] = Parse(R"([1, {"kept": true}])");
    EXPECT_TRUE(Save(row.parameters).succeeded);
    EXPECT_EQ(Stored(kRecordConf), expected);
  }
  WriteFile(kRecordConf, R"({"closestreaming": "no", "pre_recording": "10", "post_recording": 0})");
  Save("pre_recording=10");
  EXPECT_EQ(Stored(kRecordConf)["pre_recording"], 10)
      << "the same text in another type is a change";
}

TEST_F(DTVManageTest, PasswordAndAccountAreKeptUnlessEnteredAnew) {
  struct Row {
    const char* passwd;
    const char* confirm;
    const char* account;
    const char* stored_passwd;
    const char* stored_account;
  };
  for (const Row& row : std::vector<Row>{{"", "", "", "old", "eve"},
                                         {"24681357", "75318642", "", "old", "eve"},
                                         {"24681357", "other", "bob", "old", "bob"},
                                         {"new", "75318642", "", "old", "eve"},
                                         {"", "new", "", "old", "eve"},
                                         {"new", "new", "", "new", "eve"},
                                         {"new", "", "bob", "new", "bob"},
                                         {"new", "different", "", "new", "eve"},
                                         {"75318642", "24681357", "", "75318642", "eve"}}) {
    SCOPED_TRACE(testing::Message() << row.passwd << " " << row.confirm << " " << row.account);
    WriteFile(kStreamConf, R"({"passwd": "old", "account": "eve", "other": 1.5})");
    const std::string passwords = "passwd="s + row.passwd + "&password_confirm=" + row.confirm;
    EXPECT_TRUE(Save(passwords + "&account=" + row.account +
                     "&enableauth=yes&enable_viewer_limit=true&streaming_limit=-3")
                    .succeeded);
    Json::Value expected = Parse(R"({"enableauth": "no", "enable_viewer_limit": "yes",
        "streaminglimit": -3, "other": 1.5})");
    expected["passwd"] = row.stored_passwd;
    expected["account"] = row.stored_account;
    EXPECT_EQ(Stored(kStreamConf), expected);
  }
  WriteFile(kStreamConf, "null");
  EXPECT_TRUE(Save("").succeeded);
  EXPECT_EQ(Stored(kStreamConf), Parse(R"({"enableauth": "no", "enable_viewer_limit": "no",
      "streaminglimit": 1})"));
}

TEST_F(DTVManageTest, SwitchStopsOrStartsTheServiceWhenItChanges) {
  const std::string set = "set /var/packages/Cinquill/etc/dtv_setting.conf disable_dtv ";
  const std::string run = "system /var/packages/Cinquill/scripts/teskdtv.sh ";
  struct Row {
    const char* stored;
    const char* requested;
    const char* word;  // null: nothing is stored; "": stored without running the script
  };
  for (const Row& row : std::vector<Row>{{"no", "no", nullptr},
                                         {"yes", "yes", nullptr},
                                         {"", "", nullptr},
                                         {"", "no", ""},
                                         {"", "yes", "stop"},
                                         {"no", "yes", "stop"},
                                         {"yes", "no", "start"},
                                         {"yes", "", "start"},
                                         {"", "YES", "start"},
                                         {"no", "yes;reboot", "start"},
                                         {"", "a text of more than thirty-two bytes", "start"}}) {
    SCOPED_TRACE(testing::Message() << row.stored << " -> " << row.requested);
    Answers answers;
    answers.stored_switch = row.stored;
    Journal calls = Perform("action=save&disable_dtv="s + row.requested, answers).journal;
    calls.erase(calls.begin(),
                std::find_if(calls.begin(), calls.end(),
                             [](const std::string& call) { return call.rfind("get ", 0) == 0; }));
    Journal expected{"get /var/packages/Cinquill/etc/dtv_setting.conf disable_dtv 32 0"};
    if (row.word != nullptr) {
      expected.push_back(set + row.requested + " 0");
      if (*row.word != '\0') {
        expected.push_back(run + row.word + " FORCE > /dev/null");
      }
    }
    expected.insert(expected.end(), kAnswer.begin(), kAnswer.end());
    EXPECT_EQ(calls, expected);
  }
}

}  // namespace
}  // namespace Cinquill::CGI
