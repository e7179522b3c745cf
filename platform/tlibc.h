// The appliance's core library: key-value files, process control, string lists, the last error.
// All strings are NUL-terminated. "Negative" and "other than 0" promise no particular value.
#ifndef PLATFORM_TLIBC_H_
#define PLATFORM_TLIBC_H_

extern "C" {

// ---- Key-value files. Any text is a value and is read as it was stored, line feeds included; it
// disturbs no other key. `flags` is always 0 here.

// Copies the value of `key` into `buffer` of `size` bytes, cut to fit and terminated. Returns more
// than 0 when there is a value; 0, or a negative value on error, when there is none or it is empty:
// the buffer is not looked at then.
int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flags);

// Stores `value` under `key`; creates the file and the key where they are missing and keeps all
// other keys. Negative on error.
int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int flags);

// Compares the stored value with `value`: more than 0 when they are equal, 0 when they differ or
// when there is no such file or key, negative when the file cannot be read. Callers take everything
// but 0 for equal.
int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags);

// ---- Process control.

// Sends `signal` to the one process whose number is in the file, if there are such a file and such
// a process, and to no other. Returns in every case; the result decides nothing.
int TLIBCProcSignalByPidFile(const char* pid_file, int signal);

// Runs `program` with exactly these four arguments, empty ones included, without a shell. Nothing
// that it prints gets into the answer of this process. 0 when the program reports success, other
// than 0 when it fails or cannot be run.
int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4);

// ---- String lists, which keep the order of their items. Whoever obtains a list releases it with
// TLIBCSzListFree().

struct TLIBCSzList {
  int count;  // number of items; whatever follows is the library's own
};

// A new empty list with room for `capacity` items (it grows beyond), or null on failure.
TLIBCSzList* TLIBCSzListAlloc(int capacity);

// The item at `index`, which is from 0 to below the count. It stays the list's.
const char* TLIBCSzListGet(const TLIBCSzList* list, int index);

// The index of the first item equal to `item`, a negative value when there is none.
int TLIBCSzListFind(const TLIBCSzList* list, const char* item);

// Releases a list, which is never null here.
void TLIBCSzListFree(TLIBCSzList* list);

// A store of string lists, one a name.
struct TLIBCListDB;

// A new list with what the store holds for `name`, or null when it holds nothing or cannot be read.
// The third argument is always null here.
TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* db, const char* name, const void* reserved);

// ---- The error code of a TLIBCSzListAlloc() or TESKUserEnum() that has just failed: a number for
// the log.
int TLIBCErrGet(void);

}  // extern "C"

#endif  // PLATFORM_TLIBC_H_
