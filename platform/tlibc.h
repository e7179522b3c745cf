// The appliance's core library: key-value files, process control, string lists, the last error.
// All strings are NUL-terminated. "Negative" and "other than 0" promise no particular value.
#ifndef PLATFORM_TLIBC_H_
#define PLATFORM_TLIBC_H_

extern "C" {

// ---- Key-value files. How a file spells keys and values, and how its lines end, is up to the
// platform. A value is any UTF-8 text; it is read as it was stored, line feeds included, and
// disturbs no other key. A file that is there but is no key-value file cannot be read. `flags` is
// always 0.

// Copies the value of `key` into `buffer` of `size` bytes, cut to fit and terminated. More than 0
// when there is a value. 0 or a negative value when there is no such file or key, when the value is
// empty, or when the file cannot be read: the buffer is not looked at then.
int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flags);

// Stores `value` under `key`; creates the file and the key where they are missing and keeps all
// other keys. Negative when the file cannot be read or written; whether it is then as it was before
// is up to the platform.
int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int flags);

// Compares the stored value with `value`: more than 0 when they are equal, 0 when they differ or
// when there is no such file or key, negative when the file cannot be read. Callers take everything
// but 0 for equal.
int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags);

// ---- Process control.

// Sends `signal` to the one process whose number the file holds, and to no other. The file holds
// the decimal digits of a value from 2 on that a pid_t can hold, without sign or blanks, and at
// most a line feed after them. Whether other line ends may stand there is up to the platform.
// Nothing is sent when the file is missing, holds anything else or names no process.
//
// The result decides nothing. The number is believed: a stale file can name a stranger, or this
// process, which the signal then may end. In every other case the call returns.
int TLIBCProcSignalByPidFile(const char* pid_file, int signal);

// Runs `program` with exactly these four arguments, empty ones included, without a shell. Nothing
// that it prints gets into the answer of this process. 0 when the program reports success, other
// than 0 when it fails or cannot be run. Whether the call waits for the program's end (if not, 0
// means that it was started) and which descriptors the program inherits is up to the platform.
int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4);

// ---- String lists, which keep the order of their items. The caller who gets a list releases it
// with TLIBCSzListFree().

struct TLIBCSzList {
  int count;  // number of items; what follows it is the library's own
};

// A new empty list with room for `capacity` items (it grows beyond), or null on failure, with the
// reason in TLIBCErrGet().
TLIBCSzList* TLIBCSzListAlloc(int capacity);

// The item at `index`, from 0 to below the count. It stays the list's.
const char* TLIBCSzListGet(const TLIBCSzList* list, int index);

// The index of the first item equal to `item`, byte for byte; negative when there is none.
int TLIBCSzListFind(const TLIBCSzList* list, const char* item);

// Releases a list, which is never null here.
void TLIBCSzListFree(TLIBCSzList* list);

// A store of string lists, one for each name.
struct TLIBCListDB;

// A new list of what the store holds for `name`, or null when it holds nothing or cannot be read.
// The third argument is always null here.
TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* db, const char* name, const void* reserved);

// ---- The error code of a TLIBCSzListAlloc() or TESKUserEnum() that has just failed: a number for
// the log.
int TLIBCErrGet(void);

}  // extern "C"

#endif  // PLATFORM_TLIBC_H_
