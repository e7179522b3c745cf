// The appliance's share database.
#ifndef PLATFORM_TESK_SHARE_H_
#define PLATFORM_TESK_SHARE_H_

extern "C" {

struct TESKShare {
  // The share's directory as this process can open it: absolute, the root of the build
  // (CINQUILL_SYSTEM_ROOT) included, without a slash at its end.
  char* path;
};

// Looks up the share `name`, which is any text, also an empty one. 0 on success: `*share` is then
// the caller's, who releases it with TESKShareFree(). Other than 0 when there is no such share and
// on error: nothing is handed back then. Whether there is a share whose directory is missing is up
// to the platform.
int TESKShareGet(const char* name, TESKShare** share);

// Releases a share record, which is never null here.
void TESKShareFree(TESKShare* share);

// Sets the index flag of the share `name`, which is any text. `flag` is always 1 here: the indexing
// services index the share from now on. Negative when there is no such share or the flag cannot be
// stored; any other value is success.
int TESKShareIndexSet(int flag, const char* name);

}  // extern "C"

#endif  // PLATFORM_TESK_SHARE_H_
