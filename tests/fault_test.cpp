// Every call of an action that can fail, failed once at every place where the action makes it.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/system_paths.h"
#include "tests/recording_platform.h"
#include "tests/test_root.h"

namespace Cinquill {
namespace {

using Recording::Answers;
using Recording::Journal;
using Recording::Outcome;
using Recording::Perform;

const Journal kAnswer{"header text/plain; charset=\"UTF-8\"", "body"};

// What becomes of a request when a call fails. A fatal failure ends the action at once: its log
// line is the last thing before the answer. After any other the action goes on as usual.
struct Rule {
  const char* call;  // how its entry in the journal begins
  bool is_fatal;
  const char* log;
};

const std::vector<Rule> kRules{
    {"check_authorized", true, ""},
    {"is_admin", true, ""},
    {"check ", false, ""},
    {"popen", false, "log 3 dtv_manage: Failed to popen"},
    {"share_get", false, ""},
    {"exec", false, ""},
    {"share_index_set", true, "log 3 dtv_manage: Failed to share index set"},
    {"signal", false, ""},
    {"get ", false, ""},
    {"set ", true, "log 3 dtv_manage: Failed to set disable DTV"},
    {"system", true, "log 3 dtv_manage: failed to trigger teskdtv"},
};

bool BeginsWith(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0;
}

const Rule* FindRule(const std::string& call) {
  for (const Rule& rule : kRules) {
    if (BeginsWith(call, rule.call)) {
      return &rule;
    }
  }
  return nullptr;
}

// What follows the entry `from`, but for what a failed call takes with it: the release of what it
// did not hand out, and the path that the indexing tool gets.
Journal Rest(const Journal& journal, std::size_t from) {
  Journal rest;
  for (std::size_t i = from + 1; i < journal.size(); ++i) {
    if (journal[i] != "share_free" && journal[i] != "pclose") {
      rest.push_back(journal[i].substr(0, journal[i].find('[')));
    }
  }
  return rest;
}

const std::vector<std::string> kFiles{SystemPaths::kFolderConf, SystemPaths::kRecordConf,
                                      SystemPaths::kStreamConf};

// A request that makes every call that its action can make.
Answers Request(const std::string& action) {
  ResetRoot();
  WriteFile(SystemPaths::kFolderConf,
            R"([{"section": "tv_record", "share": "video", "subpath": "tv"}])");
  WriteFile(SystemPaths::kRecordConf, R"({"pre_recording": 5})");
  WriteFile(SystemPaths::kStreamConf, R"({"passwd": "secret"})");
  Answers answers;
  answers.stored_switch = "no";
  answers.request =
      "action=" + action + "&share=music&subpath=tv&passwd=next&password_confirm=&disable_dtv=yes";
  return answers;
}

void ExpectWellFormed(const Outcome& outcome, bool succeeded, bool has_data, bool has_errinfo) {
  EXPECT_EQ(outcome.succeeded, succeeded);
  EXPECT_EQ(outcome.answer["success"], succeeded);
  EXPECT_EQ(outcome.answer.isMember("data"), has_data);
  EXPECT_EQ(outcome.answer.isMember("errinfo"), has_errinfo);
}

void FailCall(const std::string& action, const Journal& usual, std::size_t index) {
  SCOPED_TRACE(action + ": " + usual[index]);
  Answers answers = Request(action);
  answers.failing_call = static_cast<int>(index);
  const Outcome outcome = Perform(answers);
  if (BeginsWith(usual[index], "read ")) {
    // A file that cannot be read is as one that is not there.
    answers = Request(action);
    std::filesystem::remove(SystemPaths::kRoot + usual[index].substr(sizeof("read")));
    EXPECT_EQ(outcome.journal, Perform(answers).journal);
    ExpectWellFormed(outcome, true, action == "load", false);
    return;
  }
  const Rule* rule = FindRule(usual[index]);
  ASSERT_NE(rule, nullptr);
  ExpectWellFormed(outcome, !rule->is_fatal, action == "load" && !rule->is_fatal, index < 2);
  Journal expected = rule->is_fatal ? kAnswer : Rest(usual, index);
  if (*rule->log != '\0') {
    expected.insert(expected.begin(), rule->log);
  }
  EXPECT_EQ(Rest(outcome.journal, index), expected);
  if (BeginsWith(usual[index], "check ")) {
    EXPECT_EQ(outcome.answer["data"]["disable_dtv"], true) << "an error reads as switched off";
  }
}

TEST(Faults, EachFailingCallHasTheResultOfItsRule) {
  for (const std::string action : {"load", "save"}) {
    const Journal usual = Perform(Request(action)).journal;
    int failed = 0;
    for (std::size_t i = 0; i < usual.size(); ++i) {
      if (FindRule(usual[i]) != nullptr || BeginsWith(usual[i], "read ")) {
        FailCall(action, usual, i);
        ++failed;
      }
    }
    EXPECT_EQ(failed, action == "load" ? 7 : 16) << "places in the action where something may fail";
  }
}

TEST(Faults, ASwitchThatCannotBeReadIsStoredAnew) {
  Answers answers = Request("save");
  answers.stored_switch = "yes";
  const Journal usual = Perform(answers).journal;
  answers = Request("save");
  answers.stored_switch = "yes";
  answers.failing_call = static_cast<int>(usual.size() - kAnswer.size()) - 1;
  const Journal journal = Perform(answers).journal;
  EXPECT_TRUE(BeginsWith(usual[usual.size() - 3], "get "))
      << "the stored value alone changes nothing";
  EXPECT_TRUE(BeginsWith(journal[journal.size() - 4], "set "));
  EXPECT_TRUE(BeginsWith(journal[journal.size() - 3], "system "));
}

TEST(Faults, EachSettingsFileThatCannotBeWrittenEndsTheSave) {
  for (const std::string& file : kFiles) {
    for (const bool opens : {false, true}) {
      SCOPED_TRACE(file + (opens ? ": full" : ": does not open"));
      Answers answers = Request("save");
      std::filesystem::remove(file);
      if (opens) {
        WriteFile(file, (file == kFiles[0] ? "[{\"x\": \"" : "{\"x\": \"") +
                            std::string(10000, 'x') + (file == kFiles[0] ? "\"}]" : "\"}"));
        answers.file_size_limit = 5000;
      } else {
        std::filesystem::create_symlink("/no/such/folder", file);
      }
      const Outcome outcome = Perform(answers);
      ExpectWellFormed(outcome, false, false, false);
      Journal expected{"log 3 video_folders: failed to write json file[" +
                       file.substr(sizeof(SystemPaths::kRoot) - 1) + "]"};
      if (file == SystemPaths::kFolderConf) {
        expected.push_back("log 3 video_folders: Failed to save folder config");
      }
      expected.push_back("log 3 dtv_manage: Failed to save folder conf");
      expected.insert(expected.end(), kAnswer.begin(), kAnswer.end());
      ASSERT_GT(outcome.journal.size(), expected.size());
      const auto tail = static_cast<std::ptrdiff_t>(expected.size());
      EXPECT_EQ(Journal(outcome.journal.end() - tail, outcome.journal.end()), expected);
    }
  }
}

}  // namespace
}  // namespace Cinquill
