// The answer, and the users with the application privilege.
#include "base_cgi/base_cgi.h"

#include <climits>

#include "host/platform/core.h"
#include "host/platform/host_paths.h"
#include "tests/test.h"

namespace Cinquill::Harness {
namespace {

using CGI::BaseCGI;

TEST(Answer, HoldsDataOrTheLastErrorInfo) {
  struct TestCGI : BaseCGI {
    bool Process() override {
      SetErrorInfo("error", "first");
      SetErrorInfo("other", "last");
      SetData(7);
      return std::string(In("works", "")) == "yes";
    }
  };
  const auto run = [] { return TestCGI().Run(); };
  EXPECT_EQ(Serve("works=yes", {}, -1, run).text, R"({"data":7,"success":true})");
  EXPECT_EQ(Serve("", {}, -1, run).text,
            R"({"errinfo":{"key":"last","sec":"other"},"success":false})");
}

// Accounts of which u1 and u3 are ordinary users with the application privilege.
void MakeAccounts() {
  WriteFile(Host::kPasswd,
            "system:x:999:1::/:\nu1:x:1000:1::/:\nboss:x:1004:1::/:\n"
            "u3:x:1003:1::/:\nother:x:1006:1::/:\n");
  WriteFile(Host::kGroup, "administrators:x:1:boss\nusers:x:2:u1,boss\n");
  WriteFile(Host::kAppPrivileges,
            "Other.App:x:1:u1,other\nTESK.DXQ.Cinquill.AppInstance:x:2:system,u1,u3,boss\n"
            "TESK.DXQ.Cinquill.AppInstance2:x:3:other\n");
}

// A page of the users, and their total, which starts as -7.
std::string Users(int offset, int limit) {
  std::string users;
  int total = -7;
  for (const auto& [id, name] : BaseCGI::ListAppUsers(offset, limit, total)) {
    users += name + " " + std::to_string(id) + ", ";
  }
  return users + "total " + std::to_string(total);
}

TEST(AppUsers, AreReturnedInPages) {
  MakeAccounts();
  EXPECT_EQ(Users(0, 1), "u1 1000, total 2");
  EXPECT_EQ(Users(1, INT_MAX), "u3 1003, total 2");
  EXPECT_EQ(Users(INT_MAX, INT_MAX), "total 2");
  EXPECT_EQ(Users(-2, 3), "u1 1000, total 2");
  EXPECT_EQ(Users(0, 0), "total 2");
}

TEST(AppUsers, AreListedWithEachCallFailing) {
  MakeAccounts();
  WriteFile(Host::kPasswd, "u1:x:1000:1::/:\nnone:x:1002:1::/:\nboss:x:1004:1::/:\n");
  ExpectJournal("users.txt", [](int failing_call) {
    Host::SetError(0xAB);
    StartJournal(failing_call);
    const std::string users = Users(0, -2);
    return Course{Journal(), {{"users", users}}};
  });
}

}  // namespace
}  // namespace Cinquill::Harness
