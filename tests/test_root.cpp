#include "tests/test_root.h"

#include <json/reader.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/system_paths.h"

void ResetRoot() {
  const std::filesystem::path root = Cinquill::SystemPaths::kRoot;
  std::filesystem::remove_all(root);
  std::filesystem::copy(SKELETON, root, std::filesystem::copy_options::recursive);
}

std::string ReadFile(const std::string& path) {
  if (!std::filesystem::is_regular_file(path)) {
    return "";
  }
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

Json::Value Parse(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}
