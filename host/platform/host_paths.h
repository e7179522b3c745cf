// The files of the stand-in's databases. The modules do not use them; their paths are in
// platform/system_paths.h.
#ifndef HOST_PLATFORM_HOST_PATHS_H_
#define HOST_PLATFORM_HOST_PATHS_H_

#include "platform/system_paths.h"

namespace Host {

inline constexpr char kPasswd[] = CINQUILL_SYSTEM_ROOT "/etc/passwd";
inline constexpr char kGroup[] = CINQUILL_SYSTEM_ROOT "/etc/group";
inline constexpr char kShares[] = CINQUILL_SYSTEM_ROOT "/etc/tesk/shares.conf";
inline constexpr char kAppPrivileges[] = CINQUILL_SYSTEM_ROOT "/etc/tesk/app_privileges";

}  // namespace Host

#endif  // HOST_PLATFORM_HOST_PATHS_H_
