// Shared by the stand-in's sources.
#ifndef HOST_PLATFORM_CORE_H_
#define HOST_PLATFORM_CORE_H_

#include <string>
#include <vector>

#include "host/platform/glib_ptr.h"
#include "platform/tlibc.h"

// The store behind TLIBCListDBGet1(): a file in the form of group(5), read anew for each look-up.
// The items of a name are the groups that have it as a member.
struct TLIBCListDB {
  const char* file;
};

namespace Host {

// Sets what TLIBCErrGet() returns.
void SetError(int code);

// Appends a copy of `item` to a list of TLIBCSzListAlloc().
void AppendItem(TLIBCSzList* list, const char* item);

// Collects the groups of a group(5) file that list `member`, in file order. False when the file
// cannot be opened.
bool GroupsOf(const char* file, const char* member, std::vector<std::string>& groups);

struct FileContent {
  GCharPtr text;
  gsize size;
};

// Reads a file; no text when it cannot be read. Regular files only: reading a device or a pipe may
// block forever. Throws std::bad_alloc when memory is short; nothing catches it, so the process
// ends.
FileContent ReadRegularFile(const char* file);

// Reads a key file, comments included. A missing file gives an empty one, any other failure null.
// A file that cannot be parsed is parsed once more with `group_line` before its text.
GKeyFilePtr LoadKeyFile(const char* file, const std::string& group_line = "");

// Replaces the file by `key_file` in one step.
bool SaveKeyFile(GKeyFile* key_file, const char* file);

}  // namespace Host

#endif  // HOST_PLATFORM_CORE_H_
