// The appliance's indexing utilities.
#ifndef PLATFORM_TESK_INDEX_H_
#define PLATFORM_TESK_INDEX_H_

#include <string>

namespace TESKIndexUtils {

// True when `path` equals `parent` or lies inside the directory `parent`, by whole path components
// of the lexically normal paths (the file system is not asked) and with regard to letter case. An
// empty path equals only an empty path.
bool IsEqualOrSubPath(const std::string& path, const std::string& parent);

}  // namespace TESKIndexUtils

#endif  // PLATFORM_TESK_INDEX_H_
