#include "base_cgi/base_cgi.h"

#include <syslog.h>

#include <limits>

#include "platform/tesk_user.h"
#include "platform/tlibc.h"

namespace Cinquill::CGI {
namespace {

constexpr char kModule[] = "base_cgi";

constexpr char kAppPrivilege[] = "TESK.DXQ.Cinquill.AppInstance";
constexpr int kUserListCapacity = 512;
constexpr int kOrdinaryUsers = 11;

// Sets `uid` and returns true if the user may use the package and is not an administrator.
bool GetAppUserId(TESKUserDB* db, const char* user, std::uint32_t& uid) {
  TLIBCSzList* privileges = TLIBCListDBGet1(db->privileges, user, nullptr);
  if (privileges == nullptr) {
    return false;
  }
  if (TESKGroupIsAdminGroupMem(user) == 1) {
    return false;  // on purpose, the list is kept until the process ends
  }
  const bool is_app_user =
      TLIBCSzListFind(privileges, kAppPrivilege) >= 0 && TESKUserGetUGID(user, &uid, nullptr) == 0;
  TLIBCSzListFree(privileges);
  return is_app_user;
}

}  // namespace

BaseCGI::BaseCGI() : TESK::WebCGI("", true) {}

bool BaseCGI::Run() {
  if (!IsAuthorized()) {
    SetErrorInfo(kErrorSection, "error_privilege_not_enough");
    success_ = false;
    WriteResponse();
    return false;
  }
  success_ = Process();
  WriteResponse();
  return success_;
}

std::vector<std::pair<std::uint32_t, std::string>> BaseCGI::ListAppUsers(int offset, int limit,
                                                                         int& total) {
  TESKUserDB* db = TESKUserDBOpen();
  if (db == nullptr) {
    syslog(LOG_ERR, "%s:%d Failed to open user db", kModule, __LINE__);
    return {};
  }
  TLIBCSzList* users = TLIBCSzListAlloc(kUserListCapacity);
  if (users == nullptr) {
    syslog(LOG_ERR, "%s:%d TLIBCSzListAlloc failed. error=[0x%04X]", kModule, __LINE__,
           static_cast<unsigned>(TLIBCErrGet()));
    TESKUserDBClose(db);
    return {};
  }
  if (TESKUserEnum(&users, kOrdinaryUsers) == -1) {
    syslog(LOG_ERR, "%s:%d TESKUserEnum failed. error=[0x%04X]", kModule, __LINE__,
           static_cast<unsigned>(TLIBCErrGet()));
    TLIBCSzListFree(users);
    TESKUserDBClose(db);
    return {};
  }

  total = 0;
  std::vector<std::pair<std::uint32_t, std::string>> page;
  const std::int64_t end =
      limit < 0 ? std::numeric_limits<int>::max() : std::int64_t{offset} + limit;
  for (int i = 0; i < users->count; ++i) {
    const char* user = TLIBCSzListGet(users, i);
    std::uint32_t uid = 0;
    if (!GetAppUserId(db, user, uid)) {
      continue;
    }
    if (offset <= total && total < end) {
      page.emplace_back(uid, user);
    }
    ++total;
  }
  TLIBCSzListFree(users);
  TESKUserDBClose(db);
  return page;
}

bool BaseCGI::IsAuthorized() { return CheckAuthorized() > 0 && IsAdmin() != 0; }

void BaseCGI::SetErrorInfo(const char* section, const char* key) {
  errinfo_["sec"] = section;
  errinfo_["key"] = key;
  success_ = false;
}

void BaseCGI::SetData(const Json::Value& value) { data_ = value; }

void BaseCGI::WriteResponse() {
  Json::Value response;
  response["success"] = success_;
  if (success_ && !data_.isNull()) {
    response["data"] = data_;
  }
  if (!success_ && !errinfo_.isNull()) {
    response["errinfo"] = errinfo_;
  }
  WriteHeader("text/plain; charset=\"UTF-8\"");
  WriteBody(response);
}

}  // namespace Cinquill::CGI
