// The appliance's share database.
#ifndef PLATFORM_TESK_SHARE_H_
#define PLATFORM_TESK_SHARE_H_

extern "C" {

struct TESKShare {
  // The share's directory: an absolute path that begins with the root of the build
  // (CINQUILL_SYSTEM_ROOT) and has no trailing slash.
  char* path;
};

// Looks up the share `name`, which may be any text, also an empty one. Whether a share without its
// directory exists is up to the platform. Returns 0 on success; the caller then owns `*share` and
// releases it with TESKShareFree(). Returns another value if there is no such share and on error;
// nothing is then returned in `*share`.
int TESKShareGet(const char* name, TESKShare** share);

// Releases a share record. Callers never pass null.
void TESKShareFree(TESKShare* share);

// Sets the index flag of the share `name`, which may be any text. Callers always pass the flag 1:
// the indexing services index the share from now on. Returns a negative value if there is no such
// share or if the flag cannot be stored, and any other value on success.
int TESKShareIndexSet(int flag, const char* name);

}  // extern "C"

#endif  // PLATFORM_TESK_SHARE_H_
