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

// IsEqualOrSubPath() for paths in normal form. They may still end with slashes.
bool IsInside(std::string_view path, std::string_view parent) {
  for (std::string_view* each : {&path, &parent}) {
    *each = each->substr(0, each->find_last_not_of('/') + 1);
  }
  return path.substr(0, parent.size()) == parent &&
         (path.size() == parent.size() || path[parent.size()] == '/');
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
