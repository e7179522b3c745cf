#include "base_cgi/base_cgi.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <climits>

#include "tests/recording_platform.h"

namespace Cinquill::CGI {
namespace {

using Recording::Journal;
using Users = std::vector<std::pair<std::uint32_t, std::string>>;

// ---- The frame

struct Reports {
  const char* name;
  bool sets_error;
  bool sets_data;
  bool result;
  const char* answer;
};

class ReportingHandler : public BaseCGI {
 public:
  explicit ReportingHandler(const Reports& reports) : reports_(reports) {}

 protected:
  bool Process() override {
    if (reports_.sets_error) {
      SetErrorInfo("error", "first");
      SetErrorInfo("error", "last");
    }
    if (reports_.sets_data) {
      SetData(Json::Value(7));
    }
    return reports_.result;
  }

 private:
  Reports reports_;
};

TEST(BaseCGI, ResultOfProcessDecidesWhatTheAnswerHolds) {
  for (const Reports& reports : std::vector<Reports>{
           {"nothing, true", false, false, true, R"({"success":true})"},
           {"nothing, false", false, false, false, R"({"success":false})"},
           {"data, true", false, true, true, R"({"data":7,"success":true})"},
           {"data, false", false, true, false, R"({"success":false})"},
           {"error, false", true, false, false,
            R"({"errinfo":{"key":"last","sec":"error"},"success":false})"},
           {"error and data, true", true, true, true, R"({"data":7,"success":true})"}}) {
    SCOPED_TRACE(reports.name);
    Recording::Start({});
    ReportingHandler handler(reports);
    EXPECT_EQ(handler.Run(), reports.result);
    EXPECT_EQ(Recording::Answer(), reports.answer);
    EXPECT_EQ(Recording::Calls(), (Journal{"check_authorized", "is_admin",
                                           "header text/plain; charset=\"UTF-8\"", "body"}));
  }
}

TEST(BaseCGI, OnlyAnAuthenticatedAdministratorGetsThrough) {
  struct Row {
    int session;
    int administrator;
    bool passes;
  };
  for (const Row& row : std::vector<Row>{
           {1, 1, true}, {2, -1, true}, {1, 0, false}, {0, 1, false}, {-1, 1, false}}) {
    SCOPED_TRACE(testing::Message() << row.session << ", " << row.administrator);
    Recording::Answers answers;
    answers.session = row.session;
    answers.administrator = row.administrator;
    Recording::Start(answers);
    ReportingHandler handler({"", false, true, true, ""});
    EXPECT_EQ(handler.Run(), row.passes);
    EXPECT_EQ(Recording::Answer(), row.passes ? R"({"data":7,"success":true})"
                                              : R"({"errinfo":{"key":"error_privilege_not_enough",)"
                                                R"("sec":"error"},"success":false})");
    EXPECT_EQ(Recording::Calls()[1] == "is_admin", row.session > 0);
  }
}

// ---- Package users

const std::vector<std::string> kPrivileged{"Other.App", "TESK.DXQ.Cinquill.AppInstance"};

Recording::Answers SomeUsers() {
  Recording::Answers answers;
  answers.users = {{"u0", kPrivileged},
                   {"none", {}},
                   {"other", {"Other.App", "TESK.DXQ.Cinquill.AppInstance2"}},
                   {"u3", kPrivileged},
                   {"admin", kPrivileged, true},
                   {"u5", kPrivileged},
                   {"lost", kPrivileged, false, false},
                   {"u7", kPrivileged},
                   {"u8", kPrivileged}};
  return answers;
}

TEST(ListAppUsers, PagesOverTheUsersThatMatch) {
  const Users all{{1000, "u0"}, {1003, "u3"}, {1005, "u5"}, {1007, "u7"}, {1008, "u8"}};
  struct Row {
    int offset;
    int limit;
    Users page;
  };
  for (const Row& row : std::vector<Row>{{0, -1, all},
                                         {2, 2, {all[2], all[3]}},
                                         {4, 9, {all[4]}},
                                         {0, 0, {}},
                                         {5, -1, {}},
                                         {INT_MAX, INT_MAX, {}},
                                         {1, INT_MAX, {all[1], all[2], all[3], all[4]}},
                                         {-2, 3, {all[0]}},
                                         {INT_MIN, INT_MIN, all}}) {
    SCOPED_TRACE(testing::Message() << row.offset << ", " << row.limit);
    Recording::Start(SomeUsers());
    int total = -7;
    EXPECT_EQ(BaseCGI::ListAppUsers(row.offset, row.limit, total), row.page);
    EXPECT_EQ(total, 5);
    EXPECT_EQ(Recording::ListsOutstanding(), 1) << "the administrator's list alone is left";
  }
}

TEST(ListAppUsers, AFailureIsLoggedAndLeavesTheTotal) {
  const std::string log = "log " + std::to_string(LOG_ERR) + " base_cgi: ";
  for (const Journal& expected :
       std::vector<Journal>{{"user_db_open", log + "Failed to open user db"},
                            {"user_db_open", "list_alloc 512",
                             log + "TLIBCSzListAlloc failed. error=[0x00AB]", "user_db_close"},
                            {"user_db_open", "list_alloc 512", "user_enum 11",
                             log + "TESKUserEnum failed. error=[0x00AB]", "user_db_close"}}) {
    SCOPED_TRACE(expected[expected.size() - 1]);
    Recording::Answers answers = SomeUsers();
    while (expected[static_cast<std::size_t>(++answers.failing_call) + 1].rfind("log", 0) != 0) {
    }
    Recording::Start(answers);
    int total = -7;
    EXPECT_EQ(BaseCGI::ListAppUsers(0, -1, total), Users{});
    EXPECT_EQ(total, -7);
    EXPECT_EQ(Recording::Calls(), expected);
    EXPECT_EQ(Recording::ListsOutstanding(), 0);
  }
}

TEST(ListAppUsers, AUserWhoseDataCannotBeReadIsSkipped) {
  Recording::Start(SomeUsers());
  int total = 0;
  BaseCGI::ListAppUsers(0, -1, total);
  const Journal calls = Recording::Calls();
  for (const auto& [call, count] : std::vector<std::pair<std::string, int>>{
           {"privileges u3", 4}, {"id u3", 4}, {"is_admin_member u3", 5}}) {
    SCOPED_TRACE(call);
    Recording::Answers answers = SomeUsers();
    answers.failing_call =
        static_cast<int>(std::find(calls.begin(), calls.end(), call) - calls.begin());
    Recording::Start(answers);
    EXPECT_EQ(BaseCGI::ListAppUsers(0, -1, total).size(), static_cast<std::size_t>(count));
    EXPECT_EQ(total, count);
    EXPECT_EQ(Recording::ListsOutstanding(), 1);
  }
}

}  // namespace
}  // namespace Cinquill::CGI
