// The appliance's core library: key-value files, process control, string lists, the last error.
// All strings are NUL-terminated. Nothing here logs.
#ifndef PLATFORM_TLIBC_H_
#define PLATFORM_TLIBC_H_

extern "C" {

// ---- Key-value files. `flags` is always 0 here.

// Copies the value of `key` into `buffer` of `size` bytes, cut to fit and always terminated.
// Returns the length of the value (more than 0), 0 when the file or the key is absent or the value
// empty, a negative value on error. The buffer is terminated in every case.
int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flags);

// Stores `value` under `key`; creates the file and the key where they are missing and keeps all
// other keys. 0 on success, a negative value on error (the file is then as it was).
int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int flags);

// Compares the stored value with `value`: 1 when equal, 0 when different or absent, a negative
// value on error.
int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags);

// ---- Process control.

// Sends `signal` to the process whose number is in the file. 0 on success; -1 when the file is
// missing, holds anything but one process number of 2 or more, or the process is gone.
int TLIBCProcSignalByPidFile(const char* pid_file, int signal);

// Runs `program` with exactly these four arguments, without a shell, and waits for its end. Its
// standard output is discarded. Returns the exit status, or -1 when it could not be run or was
// ended by a signal.
int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4);

// ---- String lists. Whoever obtains a list releases it with TLIBCSzListFree().

struct TLIBCSzList {
  int count;  // number of items; whatever follows is the library's own
};

// A new empty list with room for `capacity` items (it grows beyond), or null on failure.
TLIBCSzList* TLIBCSzListAlloc(int capacity);

// The item at `index`, owned by the list; null when there is none.
const char* TLIBCSzListGet(const TLIBCSzList* list, int index);

// The index of the first item equal to `item`, a negative value when there is none.
int TLIBCSzListFind(const TLIBCSzList* list, const char* item);

// Releases a list; null is allowed.
void TLIBCSzListFree(TLIBCSzList* list);

// A store of string lists, one a name.
struct TLIBCListDB;

// A new list with what the store holds for `name`, or null when it holds nothing or cannot be read.
// The caller releases the list. The third argument is always null here.
TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* db, const char* name, const void* reserved);

// ---- The error code of the last call of this library that failed.
int TLIBCErrGet(void);

}  // extern "C"

#endif  // PLATFORM_TLIBC_H_
