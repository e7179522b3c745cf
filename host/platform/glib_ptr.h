// Smart pointers for GLib's objects.
#ifndef HOST_PLATFORM_GLIB_PTR_H_
#define HOST_PLATFORM_GLIB_PTR_H_

#include <glib.h>

#include <memory>

namespace Host {

template <auto Free>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using GCharPtr = std::unique_ptr<char, Releaser<g_free>>;
using GErrorPtr = std::unique_ptr<GError, Releaser<g_error_free>>;
using GKeyFilePtr = std::unique_ptr<GKeyFile, Releaser<g_key_file_free>>;
using GHashTablePtr = std::unique_ptr<GHashTable, Releaser<g_hash_table_unref>>;
using GOptionContextPtr = std::unique_ptr<GOptionContext, Releaser<g_option_context_free>>;

}  // namespace Host

#endif  // HOST_PLATFORM_GLIB_PTR_H_
