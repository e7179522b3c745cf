// The appliance's share database.
#ifndef PLATFORM_TESK_SHARE_H_
#define PLATFORM_TESK_SHARE_H_

extern "C" {

struct TESKShare {
  char* path;  // the share's absolute directory, without a slash at its end
};

// Looks up the share `name`, which is any text, empty too. 0 on success: `*share` is then the
// caller's, to be released with TESKShareFree(). Other than 0 when there is no such share and on
// error: nothing is handed back then.
int TESKShareGet(const char* name, TESKShare** share);

// Releases a share record, which is never null here.
void TESKShareFree(TESKShare* share);

// Sets the index flag of the share `name`, which is any text; with 1, the only flag here, the
// indexing services index the share from now on. Negative when there is no such share or the flag
// cannot be stored.
int TESKShareIndexSet(int flag, const char* name);

}  // extern "C"

#endif  // PLATFORM_TESK_SHARE_H_
