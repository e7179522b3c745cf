// The appliance's indexing utilities.
#ifndef PLATFORM_TESK_INDEX_H_
#define PLATFORM_TESK_INDEX_H_

#include <string>

namespace TESKIndexUtils {

// Whether `path` is the folder `parent` or lies inside it, at any depth.
//
// Whole path components are compared, byte for byte: "/video/tv2" does not lie inside "/video/tv".
// Repeated slashes and slashes at the end do not count: "/" and "//" are one folder, and two
// spellings of one folder get the same answers, on either side. An empty path equals an empty path
// only; it contains nothing and lies in nothing. What "." and ".." mean is up to the platform.
//
// Never fails, and does not ask the file system: most paths here begin with a share's name
// ("/video/tv") and do not exist.
bool IsEqualOrSubPath(const std::string& path, const std::string& parent);

}  // namespace TESKIndexUtils

#endif  // PLATFORM_TESK_INDEX_H_
