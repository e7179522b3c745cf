// What an answer holds, and the people who may use the package.
#include "base_cgi/base_cgi.h"

#include <cerrno>
#include <climits>

#include "host/platform/core.h"
#include "host/platform/host_paths.h"
#include "platform/tesk_user.h"
#include "tests/test.h"

namespace Harness {

using Cinquill::CGI::BaseCGI;

TEST(Answer, HoldsDataAfterSuccessAndTheLastReasonAfterFailure) {
  struct Loud : BaseCGI {
    bool Process() override {
      SetErrorInfo("error", "first");
      SetErrorInfo("other", "last");
      SetData(7);
      return std::string(In("works", "")) == "yes";
    }
  };
  const auto run = [] { return Loud().Run(); };
  EXPECT_EQ(Text(Serve(Post("works=yes"), -1, run).answer), R"({"data":7,"success":true})");
  EXPECT_EQ(Text(Serve(Post(""), -1, run).answer),
            R"({"errinfo":{"key":"last","sec":"other"},"success":false})");
}

// Accounts of which u1, u3 and u5 are ordinary people who may use the package.
void MakeAccounts() {
  WriteFile(Host::kPasswd,
            "system:x:999:1::/:\nu1:x:1000:1::/:\nnone:x:1002:1::/:\nu3:x:1003:1::/:\n"
            "boss:x:1004:1::/:\nu5:x:1005:1::/:\nother:x:1006:1::/:\n");
  WriteFile(Host::kGroup, "administrators:x:1:boss\nusers:x:2:u1,boss\n");
  WriteFile(Host::kAppPrivileges,
            "Other.App:x:1:u1,other\nTESK.DXQ.Cinquill.AppInstance:x:2:system,u1,u3,boss,u5\n"
            "TESK.DXQ.Cinquill.AppInstance2:x:3:other\n");
}

// One page of the users, and their total, which starts as -7.
std::string Users(int offset, int limit) {
  std::string users;
  int total = -7;
  for (const auto& [id, name] : BaseCGI::ListAppUsers(offset, limit, total)) {
    users += name + " " + std::to_string(id) + ", ";
  }
  return users + "total " + std::to_string(total);
}

int OpenFiles() {
  using Files = std::filesystem::directory_iterator;
  return static_cast<int>(std::distance(Files("/proc/self/fd"), Files()));
}

TEST(PackageUsers, ComeInPages) {
  MakeAccounts();
  const int open_files = OpenFiles();
  EXPECT_EQ(Users(0, -1), "u1 1000, u3 1003, u5 1005, total 3");
  EXPECT_EQ(Users(1, 1), "u3 1003, total 3");
  EXPECT_EQ(Users(1, INT_MAX), "u3 1003, u5 1005, total 3");
  EXPECT_EQ(Users(INT_MAX, INT_MAX), "total 3");
  EXPECT_EQ(Users(-2, 3), "u1 1000, total 3");
  EXPECT_EQ(Users(0, 0), "total 3");
  EXPECT_EQ(OpenFiles(), open_files) << "each file is closed again";
}

TEST(PackageUsers, AreListedWithoutThoseThatCannotBeRead) {
  MakeAccounts();
  EXPECT_EQ(ReadFile(TEXTS "journals/users.txt"), WithEachFailure([](int failing_call) {
              Host::SetError(0xAB);
              StartJournal(failing_call);
              const std::string users = Users(0, -1);
              return Course{Journal(), users + "\n"};
            }));
}

TEST(UserDatabase, FailsWithoutItsFiles) {
  std::filesystem::remove_all(kRoot + "/etc"s);
  EXPECT_EQ(TESKUserEnum(nullptr, 11), -1);
  EXPECT_EQ(TLIBCErrGet(), ENOENT);
  EXPECT_EQ(TESKUserGetUGID("u1", nullptr, nullptr), -1);
  EXPECT_EQ(TESKGroupIsAdminGroupMem("u1"), -1);
}

}  // namespace Harness
