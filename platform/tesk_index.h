// The appliance's indexing utilities.
#ifndef PLATFORM_TESK_INDEX_H_
#define PLATFORM_TESK_INDEX_H_

#include <string>

namespace TESKIndexUtils {

// Returns whether `path` is the folder `parent` or lies inside it, at any depth.
//
// Whole path components are compared, byte for byte: "/video/tv2" does not lie inside "/video/tv".
// Repeated and trailing slashes are ignored in both arguments. An empty path equals only an empty
// path; it contains nothing and lies inside nothing. The meaning of "." and ".." is up to the
// platform.
//
// Never fails. Does not access the file system: most paths begin with the name of a share
// ("/video/tv") and do not exist.
bool IsEqualOrSubPath(const std::string& path, const std::string& parent);

}  // namespace TESKIndexUtils

#endif  // PLATFORM_TESK_INDEX_H_
