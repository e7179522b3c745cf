// What becomes of a request when something fails: each call of an action at every place where it
// makes it, and what the program finds around it.
#include "tests/test.h"

namespace Harness {

// How a call begins in the journal; what its failure logs; how many calls fewer there are than
// usually then, null when the action ends.
const Json::Value kRules = Rows(R"(["CheckAuthorized", "", null], ["TESKGroupIs", "", null],
    ["ReadJsonFile", "", 0], ["TLIBCFileCheckKeyValue", "", 0], ["popen", "Failed to popen", 1],
    ["TESKShareGet", "", 1], ["TLIBCExec", "", 0], ["TLIBCProcSignal", "", 0],
    ["TESKShareIndexSet", "Failed to share index set", null], ["TLIBCFileGetKeyValue", "", 0],
    ["TLIBCFileSetKeyValue", "Failed to set disable DTV", null],
    ["system", "failed to trigger teskdtv", null])");

// A request that makes every call that its action can make.
Outcome Perform(const std::string& action, int failing_call) {
  ResetRoot();
  WriteFile(kFolderConf, R"([{"section": "tv_record", "share": "video", "subpath": "tv"}])");
  WriteFile(kDTVSettingConf, "[settings]\ndisable_dtv=no\n");
  return Serve(Post("action=" + action + "&share=music&subpath=tv&disable_dtv=yes"), failing_call);
}

TEST(Faults, OfACallHaveTheResultOfItsRule) {
  for (const std::string action : {"load", "save"}) {
    const Journal usual = Perform(action, -1).journal;
    EXPECT_EQ(usual, Lines(ReadFile(JOURNALS + action + ".txt"))) << "each call in its place";
    for (std::size_t i = 0; i < usual.size(); ++i) {
      for (const Json::Value& rule : kRules) {
        if (usual[i].rfind(rule[0].asString(), 0) != 0) {
          continue;
        }
        SCOPED_TRACE(action + ": " + usual[i]);
        const Outcome outcome = Perform(action, static_cast<int>(i));
        const Json::Value& data = outcome.answer["data"];
        EXPECT_EQ(outcome.status, rule[2].isNull() ? 1 : 0);
        EXPECT_EQ(ReadFile(kFolderConf).find("\"path\"") < std::string::npos,
                  action == "save" && i > 1);
        EXPECT_EQ(ReadFile(kDTVSettingConf).find("=yes") < std::string::npos,
                  action == "save" && (rule[0] == "system" || !rule[2].isNull()));
        EXPECT_EQ(outcome.answer.isMember("errinfo"), i < 2);
        EXPECT_EQ(data["disable_dtv"] == true, rule[0] == "TLIBCFileCheckKeyValue");
        EXPECT_FALSE(data["DVB_conflict"].asBool());
        if (usual[i].find("folder.conf") != std::string::npos) {
          EXPECT_EQ(outcome.journal[i + 1], "log 6 video_folders Failed to load folder config");
          continue;  // without a destination there is less to do
        }
        const std::size_t calls = rule[2].isNull() ? i + 1 : usual.size() - rule[2].asUInt();
        EXPECT_EQ(outcome.journal.size(), calls + (rule[1] == "" ? 0 : 1));
        EXPECT_TRUE(rule[1] == "" ||
                    outcome.journal[i + 1] == "log 3 dtv_manage " + rule[1].asString());
      }
    }
  }
}

TEST(Faults, OfAWriteEndTheSave) {
  // A settings file, what takes its place, and what is logged: the save succeeds without any.
  for (const Json::Value& row : Rows(R"(["record.conf", "/dev/full", []],
      ["folder.conf", "/no/x", ["6 video_folders Failed to load folder config",
       "3 video_folders failed to write json file[/var/packages/Cinquill/etc/folder.conf]",
       "3 video_folders Failed to save folder config", "3 dtv_manage Failed to save folder conf"]],
      ["record.conf", "/",
       ["3 video_folders failed to write json file[/var/packages/Cinquill/etc/record.conf]",
        "3 dtv_manage Failed to save folder conf"]],
      ["stream.conf", "/dev/full",
       ["3 video_folders failed to write json file[/var/packages/Cinquill/etc/stream.conf]",
        "3 dtv_manage Failed to save folder conf"]],
      ["dtv_setting.conf", "/", ["3 dtv_manage Failed to set disable DTV"]])")) {
    ResetRoot();
    for (const char* program : {kIndexTool, kDTVControlScript}) {
      WriteFile(program, "#!/bin/sh\necho '{\"success\": true}'; exit 3\n");  // to no effect
    }
    const std::string file = kRoot + "/var/packages/Cinquill/etc/"s + row[0].asString();
    std::filesystem::remove(file);
    std::filesystem::create_symlink(row[1].asString(), file);
    const std::string large(10000, 'x');  // an error in a small file goes unseen
    const Outcome outcome = Save("share=tv&subpath=x&account=" + large + "&disable_dtv=yes");
    Json::Value logged(Json::arrayValue);
    for (const std::string& call : outcome.journal) {
      if (call.rfind("log ", 0) == 0) {
        logged.append(call.substr(4));
      }
    }
    EXPECT_EQ(logged, row[2]);
    EXPECT_EQ(outcome.answer, Parse("{\"success\": "s + (logged.empty() ? "true}" : "false}")));
    EXPECT_EQ(outcome.journal.back().rfind("log ", 0) == 0, !logged.empty());
  }
}

}  // namespace Harness
