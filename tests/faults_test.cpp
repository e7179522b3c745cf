// What becomes of a request when a call fails: each call of an action, at every place where it is
// made.
#include "tests/test.h"

namespace Harness {

// The members of an object, a line for each.
std::string Members(const Json::Value& object) {
  std::string members;
  for (const std::string& name : object.getMemberNames()) {
    members += name + " " + Text(object[name]) + "\n";
  }
  return members;
}

// A load or a save that makes every call that it can make. It results in the members of the answer
// and the lines of the settings files.
Course Perform(const std::string& action, int failing_call) {
  ResetRoot();
  WriteFile(kFolderConf, R"([{"section":"tv_record","share":"video","subpath":"tv"}])");
  WriteFile(kRecordConf, R"({"closestreaming":"yes","pre_recording":5})");
  WriteFile(kStreamConf, R"({"account":"eve","streaminglimit":2})");
  WriteFile(kDTVSettingConf, "[settings]\ndisable_dtv=no\n");
  const std::string form = "action=" + action + "&share=music&subpath=tv&disable_dtv=yes";
  const Outcome outcome = Serve(Post(form), failing_call);
  const Json::Value& answer = outcome.answer;
  std::string result = Members(answer["data"]) + Members(answer["errinfo"]) + "success " +
                       Text(answer["success"]) + "\n";
  for (const char* file : {kFolderConf, kRecordConf, kStreamConf, kDTVSettingConf}) {
    const std::string name = std::filesystem::path(file).filename().string();
    result += Missing(ReadFile(file), "", name + ": ");
  }
  return {outcome.journal, result};
}

TEST(Load, MakesItsCallsInOrderAndShowsDefaultsForWhatFails) {
  EXPECT_EQ(ReadFile(TEXTS "journals/load.txt"),
            WithEachFailure([](int failing_call) { return Perform("load", failing_call); }));
}

TEST(Save, MakesItsCallsInOrderAndEndsAtAFailureThatMatters) {
  EXPECT_EQ(ReadFile(TEXTS "journals/save.txt"),
            WithEachFailure([](int failing_call) { return Perform("save", failing_call); }));
}

}  // namespace Harness
