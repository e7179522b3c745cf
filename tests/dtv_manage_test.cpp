// The calls of load and save, and any text.
#include <glib.h>

#include "host/platform/glib_ptr.h"
#include "tests/test.h"

namespace Cinquill::Harness {
namespace {

using namespace SystemPaths;

// The members of the answer, and the last line of each settings file that was written.
Course CourseOf(const Outcome& outcome) {
  Course course{outcome.journal, {}};
  for (const std::string& path : TakeWrites()) {
    const std::filesystem::path file = InRoot(path);
    if (file.parent_path().filename() == "etc" && is_regular_file(file)) {
      course.results[file.filename()] = Lines("\n" + ReadFile(file)).back();
    }
  }
  course.results["success"] = Text(outcome.answer["success"]);
  for (const Json::Value& part : {outcome.answer["data"], outcome.answer["errinfo"]}) {
    for (const std::string& name : part.getMemberNames()) {
      course.results[name] = Text(part[name]);
    }
  }
  return course;
}

// A load or a save that makes every call that it can make.
Course Perform(const std::string& action, int failing_call) {
  ResetRoot();
  WriteFile(kFolderConf, R"([{"section":"tv_record","share":"video","subpath":"tv"}])");
  WriteFile(kRecordConf, R"({"closestreaming":"yes","pre_recording":5,"post_recording":6})");
  WriteFile(kStreamConf, R"({"account":"eve","enableauth":"yes","enable_viewer_limit":"yes",
      "streaminglimit":9})");
  WriteFile(kDTVSettingConf, "[settings]\ndisable_dtv=no\n");
  WriteFile(InRoot("/etc/tesk/dvb_conflict"), "");
  TakeWrites();
  const std::string form = "action=" + action + "&share=music&subpath=tv&disable_dtv=yes";
  return CourseOf(Serve(form, {}, failing_call));
}

TEST(Action, LoadsWithEachCallFailing) {
  ExpectJournal("load.txt", [](int failing_call) { return Perform("load", failing_call); });
}

TEST(Action, SavesWithEachCallFailing) {
  ExpectJournal("save.txt", [](int failing_call) { return Perform("save", failing_call); });
}

// Texts that a shell, a decoder or a file format could change.
TEST(Action, KeepsTextsByteForByte) {
  for (const std::string& text : std::vector<std::string>{
           "$(touch x) `id` && 'quote' \"x\" \\n [s] #", "100%+1;2&3=4 übung 録画 😀",
           " \t\f two\nlines\r\n ", "/../../etc//b/", "-D " + std::string(4096, 'x')}) {
    SCOPED_TRACE(text.substr(0, 60));
    ResetRoot();
    const std::string sent = Host::GCharPtr(g_uri_escape_string(text.c_str(), "", FALSE)).get();
    Serve("action=save&share=music&subpath=" + sent + "&account=" + sent + "&passwd=" + sent +
          "&disable_dtv=" + sent);
    EXPECT_EQ(Serve("action=load").answer["data"]["account"].asString(), text);
    EXPECT_EQ(Parse(ReadFile(kStreamConf))["passwd"].asString(), text);
    EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "disable_dtv", text.c_str(), 0), 1);
    EXPECT_EQ(ReadFile(InRoot("/var/log/teskindex.log")),
              "teskindex -A \"" + InRoot("/volume1/music/") + text + "\" -P Cinquill\n");
  }
}

}  // namespace
}  // namespace Cinquill::Harness
