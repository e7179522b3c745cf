// Stands in for the share database: a key file with one group for each share, which holds `path`
// (on the appliance) and `index`. What it does not imitate: encrypted, external and hidden shares.
// What it decides by itself: a share with a path exists, whether or not its folder does.
#include "platform/tesk_share.h"

#include <string>

#include "host/platform/core.h"
#include "host/platform/host_paths.h"

int TESKShareGet(const char* name, TESKShare** share) {
  const Host::GKeyFilePtr shares = Host::LoadKeyFile(Host::kShares);
  if (shares == nullptr) {
    return -1;
  }
  const Host::GCharPtr stored(g_key_file_get_string(shares.get(), name, "path", nullptr));
  if (stored == nullptr) {
    return -1;
  }
  std::string path = std::string(Cinquill::SystemPaths::kRoot) + stored.get();
  path.erase(path.find_last_not_of('/') + 1);
  *share = new TESKShare{g_strdup(path.c_str())};
  return 0;
}

void TESKShareFree(TESKShare* share) {
  g_free(share->path);
  delete share;
}

int TESKShareIndexSet(int flag, const char* name) {
  const Host::GKeyFilePtr shares = Host::LoadKeyFile(Host::kShares);
  if (shares == nullptr || g_key_file_has_key(shares.get(), name, "path", nullptr) == FALSE) {
    return -1;
  }
  g_key_file_set_integer(shares.get(), name, "index", flag);
  return Host::SaveKeyFile(shares.get(), Host::kShares) ? 0 : -1;
}
