// Stands in for the indexing utilities. What it decides by itself: paths are compared in lexically
// normal form, so "." and ".." are resolved.
#include "platform/tesk_index.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace TESKIndexUtils {
namespace {

// Speed: true only for paths in normal form, which need no conversion. A path with a hidden name
// also gives false, and is converted.
bool IsNormal(const std::string& path) {
  const auto is_doubtful = [](char left, char right) {
    return left == '/' && (right == '/' || right == '.');
  };
  return path.front() != '.' &&
         std::adjacent_find(path.begin(), path.end(), is_doubtful) == path.end();
}

std::string Normal(const std::string& path) {
  return std::filesystem::path(path).lexically_normal().string();
}

std::string_view WithoutTrailingSlashes(std::string_view path) {
  return path.substr(0, path.find_last_not_of('/') + 1);
}

// IsEqualOrSubPath() for paths in normal form. They may still end with slashes.
bool IsInside(std::string_view path, std::string_view parent) {
  const std::string_view inner = WithoutTrailingSlashes(path);
  const std::string_view outer = WithoutTrailingSlashes(parent);
  return inner.substr(0, outer.size()) == outer &&
         (inner.size() == outer.size() || inner[outer.size()] == '/');
}

}  // namespace

bool IsEqualOrSubPath(const std::string& path, const std::string& parent) {
  if (path.empty() || parent.empty()) {
    return path.empty() && parent.empty();
  }
  return IsNormal(path) && IsNormal(parent) ? IsInside(path, parent)
                                            : IsInside(Normal(path), Normal(parent));
}

}  // namespace TESKIndexUtils
