// The appliance's user database.
#ifndef PLATFORM_TESK_USER_H_
#define PLATFORM_TESK_USER_H_

#include <cstdint>

#include "platform/tlibc.h"

extern "C" {

struct TESKUserDB {
  TLIBCListDB* privileges;  // by user name: the applications the user may use. Owned by the handle.
};

// Opens the user database: a handle to be released with TESKUserDBClose(), or null on failure.
TESKUserDB* TESKUserDBOpen(void);

// Releases a handle; null is not allowed.
void TESKUserDBClose(TESKUserDB* db);

// Appends the names of all accounts of one kind to `*list`, in the order of the database. The list
// may be replaced by a larger one; it stays the caller's. Kind 11: people's accounts. 0 on success,
// -1 on failure with the reason in TLIBCErrGet().
int TESKUserEnum(TLIBCSzList** list, int kind);

// Fetches a user's numeric ids; a null target is skipped. 0 on success, -1 for an unknown user.
int TESKUserGetUGID(const char* user, std::uint32_t* uid, std::uint32_t* gid);

// 1 when the user belongs to the administrators' group, 0 when not, -1 on failure.
int TESKGroupIsAdminGroupMem(const char* user);

}  // extern "C"

#endif  // PLATFORM_TESK_USER_H_
