// The appliance's core library: key-value files, process control, string lists, the last error.
// All strings are NUL-terminated. "A negative value" and "another value" may be any such number.
#ifndef PLATFORM_TLIBC_H_
#define PLATFORM_TLIBC_H_

extern "C" {

// ---- Key-value files. Their syntax is up to the platform. A value may be any UTF-8 text: it reads
// back as it was stored, line feeds included, and does not affect other keys. Only the stand-in
// promises that a file of other content counts as one that cannot be read. Callers always pass 0 as
// `flags`.

// Copies the value of `key` into `buffer` of `size` bytes, cut to fit and NUL-terminated. Returns
// more than 0 if there is a value. Returns 0 or a negative value if there is no such file or key,
// if the value is empty, or if the file cannot be read; the content of the buffer is then
// unspecified.
int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flags);

// Stores `value` under `key`. Creates a missing file or key and keeps all other keys. Returns a
// negative value if the file cannot be read or written, and any other value on success. Whether a
// failure leaves the file unchanged is up to the platform.
int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int flags);

// Compares the stored value with `value`. Returns more than 0 if they are equal, 0 if they differ
// or if there is no such file or key, and a negative value if the file cannot be read. Callers
// treat every value but 0 as equal.
int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int flags);

// ---- Process control.

// Sends `signal` to the one process whose PID the file holds, and to no other. Sends nothing if the
// file is missing or names no process. Callers ignore the result. The PID is not verified: a stale
// file may name another process, or this one, which the signal may then end. In every other case
// the call returns.
//
// Only the stand-in promises to send nothing unless the file holds a PID of 2 or more in decimal
// digits, without sign or blanks, and at most one line feed after them.
int TLIBCProcSignalByPidFile(const char* pid_file, int signal);

// Runs `program` with exactly these four arguments, empty ones included, without a shell. The
// output of the program does not get into the answer of this process. Returns 0 if the program
// reports success, and another value if it fails or cannot be run. Whether the call waits for the
// end of the program is up to the platform; if not, 0 means that the program was started. Which
// descriptors the program inherits is up to the platform, too.
int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4);

// ---- String lists. Items keep their order. Whoever gets a new list releases it with
// TLIBCSzListFree().

struct TLIBCSzList {
  int count;  // number of items; the members after it are private to the library
};

// Returns a new empty list with room for `capacity` items, or null on failure, with the reason in
// TLIBCErrGet(). A list grows beyond its capacity.
TLIBCSzList* TLIBCSzListAlloc(int capacity);

// Returns the item at `index`, which is at least 0 and below the count. The list owns the item.
const char* TLIBCSzListGet(const TLIBCSzList* list, int index);

// Returns the index of the first item equal to `item`, byte for byte, or a negative value if there
// is none.
int TLIBCSzListFind(const TLIBCSzList* list, const char* item);

// Releases a list. Callers never pass null.
void TLIBCSzListFree(TLIBCSzList* list);

// A store of string lists by name.
struct TLIBCListDB;

// Returns a new list of what the store holds for `name`, or null if it holds nothing or cannot be
// read. Callers always pass null as the third argument.
TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* db, const char* name, const void* reserved);

// ---- The last error. Returns the error code of the TLIBCSzListAlloc() or TESKUserEnum() that has
// just failed. Callers only log it.
int TLIBCErrGet(void);

}  // extern "C"

#endif  // PLATFORM_TLIBC_H_
