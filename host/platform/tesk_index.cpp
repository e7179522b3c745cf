// Stands in for the indexing utilities.
#include "platform/tesk_index.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace TESKIndexUtils {
namespace {

// Whether the path is certainly in normal form. A hidden name is left to the thorough way.
bool IsNormal(const std::string& path) {
  const auto is_doubtful = [](char left, char right) {
    return left == '/' && (right == '/' || right == '.');
  };
  return path.front() != '.' &&
         std::adjacent_find(path.begin(), path.end(), is_doubtful) == path.end();
}

// The lexically normal form without a trailing slash (the root itself becomes empty).
std::string Normal(const std::string& path) {
  std::string normal =
      IsNormal(path) ? path : std::filesystem::path(path).lexically_normal().string();
  if (!normal.empty() && normal.back() == '/') {
    normal.pop_back();
  }
  return normal;
}

}  // namespace

bool IsEqualOrSubPath(const std::string& path, const std::string& parent) {
  if (path.empty() || parent.empty()) {
    return path.empty() && parent.empty();
  }
  const std::string inner = Normal(path);
  const std::string outer = Normal(parent);
  return inner.compare(0, outer.size(), outer) == 0 &&
         (inner.size() == outer.size() || inner[outer.size()] == '/');
}

}  // namespace TESKIndexUtils
