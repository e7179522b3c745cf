// The appliance's indexing utilities.
#ifndef PLATFORM_TESK_INDEX_H_
#define PLATFORM_TESK_INDEX_H_

#include <string>

namespace TESKIndexUtils {

// Whether `path` is the folder `parent` or lies inside it, at any depth. Compared are whole path
// components, byte for byte: "/video/tv2" does not lie inside "/video/tv". Repeated slashes and
// slashes at the end mean nothing: "/" and "//" are one folder, and two spellings of one folder get
// the same answers, on either side. An empty path is no folder: it equals an empty path alone,
// contains nothing and lies in nothing. What "." and ".." mean is the platform's affair.
bool IsEqualOrSubPath(const std::string& path, const std::string& parent);

}  // namespace TESKIndexUtils

#endif  // PLATFORM_TESK_INDEX_H_
