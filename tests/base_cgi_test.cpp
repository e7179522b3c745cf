// What an answer holds, and the people who may use the package.
#include "base_cgi/base_cgi.h"

#include <cerrno>

#include "host/platform/core.h"
#include "host/platform/host_paths.h"
#include "tests/test.h"

namespace Harness {

using Cinquill::CGI::BaseCGI;

TEST(Answer, HoldsWhatTheResultOfTheHandlerAllows) {
  ResetRoot();
  struct Handler : BaseCGI {
    bool Process() override {
      SetErrorInfo("error", "first");
      SetErrorInfo("other", "last");
      SetData(7);
      return std::string(In("works", "")) == "yes";
    }
  };
  const auto run = [] { return Handler().Run(); };
  EXPECT_EQ(Serve(Post("works=yes"), -1, run).answer, Parse(R"({"data": 7, "success": true})"));
  EXPECT_EQ(Serve(Post(""), -1, run).answer,
            Parse(R"({"errinfo": {"key": "last", "sec": "other"}, "success": false})"));
}

TEST(PackageUsers, ComeInPagesUnlessTheirDatabaseFails) {
  // Accounts of which u1, u3 and u5 match.
  ResetRoot();
  WriteFile(Host::kPasswd,
            "system:x:999:1::/:\nu1:x:1000:1::/:\nnone:x:1002:1::/:\nu3:x:1003:1::/:\n"
            "boss:x:1004:1::/:\nu5:x:1005:1::/:\nother:x:1006:1::/:\n");
  WriteFile(Host::kGroup, "administrators:x:1:boss\nusers:x:2:u1,boss\n");
  WriteFile(Host::kAppPrivileges,
            "Other.App:x:1:u1,other\nTESK.DXQ.Cinquill.AppInstance:x:2:system,u1,u3,boss,u5\n"
            "TESK.DXQ.Cinquill.AppInstance2:x:3:other\n");
  // Offset, limit, and the index of a failing call (of u3's privileges, of u3's id, and of those
  // before any user); the users, their total, which starts as -7, the number of calls that are made
  // and, of those, releases of lists (not of the administrator's, deliberately); what is logged.
  for (const Json::Value& row : Rows(R"([0, -1, -1, "u1 1000, u3 1003, u5 1005, ", 3, 23, 5, ""],
      [1, 2147483647, -1, "u3 1003, u5 1005, ", 3, 23, 5, ""], [0, 0, -1, "", 3, 23, 5, ""],
      [2147483647, 2147483647, -1, "", 3, 23, 5, ""], [-2, 3, -1, "u1 1000, ", 3, 23, 5, ""],
      [0, -1, 8, "u1 1000, u5 1005, ", 2, 20, 4, ""],
      [0, -1, 10, "u1 1000, u5 1005, ", 2, 23, 5, ""],
      [0, -1, 0, "", -7, 2, 0, "Failed to open user db"],
      [0, -1, 1, "", -7, 4, 0, "TLIBCSzListAlloc failed. error=[0x00AB]"],
      [0, -1, 2, "", -7, 6, 1, "TESKUserEnum failed. error=[0x00AB]"])")) {
    SCOPED_TRACE(row);
    Host::SetError(0xAB);
    StartJournal(row[2].asInt());
    std::string users;
    int total = -7;
    for (const auto& [id, name] : BaseCGI::ListAppUsers(row[0].asInt(), row[1].asInt(), total)) {
      users += name + " " + std::to_string(id) + ", ";
    }
    const Journal calls = Calls();
    EXPECT_EQ(users, row[3].asString());
    EXPECT_EQ(total, row[4].asInt());
    EXPECT_TRUE(calls.size() < 5 || calls[1] + calls[2] == "TLIBCSzListAlloc 512TESKUserEnum 11");
    EXPECT_EQ(calls.size(), row[5].asUInt());
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "TLIBCSzListFree"), row[6].asInt());
    EXPECT_EQ(calls.back() == "TESKUserDBClose", row[2] != 0);
    EXPECT_TRUE(row[7] == "" ||
                calls[row[2].asUInt() + 1] == "log 3 base_cgi " + row[7].asString());
  }
  std::filesystem::remove_all(kRoot + "/etc"s);
  EXPECT_TRUE(TESKUserEnum(nullptr, 11) == -1 && TLIBCErrGet() == ENOENT);
  EXPECT_EQ(TESKUserGetUGID("u1", nullptr, nullptr), -1);
  EXPECT_EQ(TESKGroupIsAdminGroupMem("u1"), -1);
}

}  // namespace Harness
