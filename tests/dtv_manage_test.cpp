// What load and save do with any action, any text and any content of a file.
#include <glib.h>

#include "host/platform/glib_ptr.h"
#include "tests/test.h"

namespace Harness {

TEST(Action, IsOneOfTwoWordsExactly) {
  for (const char* form : {"", "action=", "action=Load", "action=save+", "share=tv"}) {
    const Outcome outcome = Serve(Post(form));
    EXPECT_EQ(Text(outcome.answer), R"({"success":false})") << form;
    EXPECT_EQ(outcome.journal, "CheckAuthorized\nTESKGroupIsAdminGroupMem admin\n") << form;
  }
}

TEST(Save, KeepsTheModeOfItsFiles) {
  for (const char* file : {kFolderConf, kRecordConf, kStreamConf}) {
    WriteFile(file, "");
    std::filesystem::permissions(file, std::filesystem::perms{0604});
    Save("share=tv&account=eve");
    EXPECT_NE(ReadFile(file), "") << file;
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0604}) << file;
  }
}

// What a person or a page could send, and somebody could hope to see executed.
TEST(Save, KeepsTextsByteForByte) {
  for (const std::string& text :
       {"$(touch x) `id` && 'quote' \"x\" \\n [s] #"s, "100%+1;2&3=4 übung 録画 😀"s,
        " \t\f two\nlines\r\n "s, "/../../etc//b/"s, "-D "s + std::string(4096, 'x')}) {
    SCOPED_TRACE(text.substr(0, 60));
    ResetRoot();
    const std::string sent = Host::GCharPtr(g_uri_escape_string(text.c_str(), "", FALSE)).get();
    Save("share=music&subpath=" + sent + "&account=" + sent + "&passwd=" + sent +
         "&disable_dtv=" + sent);
    EXPECT_EQ(Load()["account"].asString(), text);
    EXPECT_EQ(Load()["dtv_destination"].asString(), "/music/" + text);
    EXPECT_EQ(Parse(ReadFile(kStreamConf))["passwd"].asString(), text);
    EXPECT_EQ(TLIBCFileCheckKeyValue(kDTVSettingConf, "disable_dtv", text.c_str(), 0), 1);
    EXPECT_EQ(ReadFile(kRoot + "/var/log/teskindex.log"s),
              "teskindex -A \""s + kRoot + "/volume1/music/" + text + "\" -P Cinquill\n");
  }
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
    EXPECT_EQ(Load()["pre_recording"].asInt(), 4);
    EXPECT_EQ(Load()["dtv_destination"].asString(), "/photo");
  }
}

}  // namespace Harness
