// The appliance's user database.
#ifndef PLATFORM_TESK_USER_H_
#define PLATFORM_TESK_USER_H_

#include <cstdint>

#include "platform/tlibc.h"

extern "C" {

struct TESKUserDB {
  // By user name: the ids of the applications that the user may use. Owned by the handle.
  TLIBCListDB* privileges;
};

// Opens the user database: a handle, which the caller releases with TESKUserDBClose(), or null on
// failure.
TESKUserDB* TESKUserDBOpen(void);

// Releases a handle, which is never null here.
void TESKUserDBClose(TESKUserDB* db);

// Appends the names of all accounts of one kind to `*list`, in the order of the database. The kind
// is always 11 here: people's accounts. Which accounts these are is up to the platform. `*list`
// may be replaced by a larger list; it stays the caller's, after a failure too. Exactly -1 on
// failure, with the reason in TLIBCErrGet().
int TESKUserEnum(TLIBCSzList** list, int kind);

// Fetches a user's numeric ids; a null target is skipped. 0 on success; other than 0 when there is
// no such user and on error: the targets are not looked at then.
int TESKUserGetUGID(const char* user, std::uint32_t* uid, std::uint32_t* gid);

// Exactly 1 when the list of members of the administrators' group names the user; any other value
// counts as not. A user's primary group does not make an administrator.
int TESKGroupIsAdminGroupMem(const char* user);

}  // extern "C"

#endif  // PLATFORM_TESK_USER_H_
