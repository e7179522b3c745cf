// Stands in for the user database: passwd(5) and group(5) files, and the application privileges in
// the form of group(5). What it does not imitate: domain accounts, primary groups, expired
// accounts.
#include "platform/tesk_user.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/platform/core.h"
#include "host/platform/host_paths.h"

namespace {

constexpr char kAdministrators[] = "administrators";
constexpr int kOrdinaryUsers = 11;
constexpr uid_t kFirstOrdinaryId = 1000;

// Calls visit(account) for each account in file order. False, with the error set, when the file
// cannot be opened.
template <typename Visitor>
bool ForEachAccount(Visitor visit) {
  std::FILE* file = std::fopen(Host::kPasswd, "re");
  if (file == nullptr) {
    Host::SetError(errno);
    return false;
  }
  for (const passwd* account = fgetpwent(file); account != nullptr; account = fgetpwent(file)) {
    visit(*account);
  }
  std::fclose(file);
  return true;
}

}  // namespace

TESKUserDB* TESKUserDBOpen() {
  if (access(Host::kPasswd, R_OK) != 0) {
    return nullptr;
  }
  return new TESKUserDB{new TLIBCListDB{Host::kAppPrivileges}};
}

void TESKUserDBClose(TESKUserDB* db) {
  delete db->privileges;
  delete db;
}

int TESKUserEnum(TLIBCSzList** list, int kind) {
  const bool read = ForEachAccount([=](const passwd& account) {
    if (kind == kOrdinaryUsers && account.pw_uid >= kFirstOrdinaryId) {
      Host::AppendItem(*list, account.pw_name);
    }
  });
  return read ? 0 : -1;
}

int TESKUserGetUGID(const char* user, std::uint32_t* uid, std::uint32_t* gid) {
  bool found = false;
  ForEachAccount([&](const passwd& account) {
    if (found || std::strcmp(account.pw_name, user) != 0) {
      return;
    }
    found = true;
    if (uid != nullptr) {
      *uid = account.pw_uid;
    }
    if (gid != nullptr) {
      *gid = account.pw_gid;
    }
  });
  return found ? 0 : -1;
}

int TESKGroupIsAdminGroupMem(const char* user) {
  std::vector<std::string> groups;
  if (!Host::GroupsOf(Host::kGroup, user, groups)) {
    return -1;
  }
  return std::count(groups.begin(), groups.end(), kAdministrators) > 0 ? 1 : 0;
}
