// The appliance's share database.
#ifndef PLATFORM_TESK_SHARE_H_
#define PLATFORM_TESK_SHARE_H_

extern "C" {

struct TESKShare {
  char* path;  // the share's absolute directory, no trailing slash
};

// Looks up the share `name`. 0 on success: `*share` is then the caller's, to be released with
// TESKShareFree(). Any other value is failure, and nothing is handed back.
int TESKShareGet(const char* name, TESKShare** share);

// Releases a share record; null is not allowed.
void TESKShareFree(TESKShare* share);

// Sets the index flag of the share `name`: with 1 the indexing services index it, with 0 they do
// not. 0 on success, a negative value when the share is unknown or the flag cannot be stored.
int TESKShareIndexSet(int flag, const char* name);

}  // extern "C"

#endif  // PLATFORM_TESK_SHARE_H_
