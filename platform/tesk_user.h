// The appliance's user database.
#ifndef PLATFORM_TESK_USER_H_
#define PLATFORM_TESK_USER_H_

#include <cstdint>

#include "platform/tlibc.h"

extern "C" {

struct TESKUserDB {
  // The ids of the applications that a user may use, by user name. Owned by the handle.
  TLIBCListDB* privileges;
};

// Opens the user database. Returns a handle, which the caller releases with TESKUserDBClose(), or
// null on failure.
TESKUserDB* TESKUserDBOpen(void);

// Releases a handle. Callers never pass null.
void TESKUserDBClose(TESKUserDB* db);

// Appends the names of all accounts of one kind to `*list`, in the order of the database. Callers
// always pass the kind 11, ordinary accounts; which accounts these are is up to the platform. The
// call may replace `*list` by a larger list. The caller owns `*list`, also after a failure. Returns
// -1 on failure, with the reason in TLIBCErrGet(), and any other value on success.
int TESKUserEnum(TLIBCSzList** list, int kind);

// Stores a user's numeric ids in `*uid` and `*gid`, either of which may be null. Returns 0 on
// success, and another value if there is no such user and on error; the contents of the targets are
// then unspecified.
int TESKUserGetUGID(const char* user, std::uint32_t* uid, std::uint32_t* gid);

// Returns 1 if the administrators' group lists the user as a member, and any other value if not or
// if the group cannot be read. BaseCGI::ListAppUsers() then lists administrators, too. Whether a
// user's primary group counts is up to the platform.
int TESKGroupIsAdminGroupMem(const char* user);

}  // extern "C"

#endif  // PLATFORM_TESK_USER_H_
