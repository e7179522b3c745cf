#include "host/platform/core.h"

#include <grp.h>

#include <cstdio>
#include <new>
#include <utility>

namespace Host {
namespace {

GKeyFilePtr ParseKeyFile(const std::string& text) {
  GKeyFilePtr key_file(g_key_file_new());
  const bool parsed = g_key_file_load_from_data(key_file.get(), text.data(), text.size(),
                                                G_KEY_FILE_KEEP_COMMENTS, nullptr) != FALSE;
  return parsed ? std::move(key_file) : nullptr;
}

}  // namespace

bool GroupsOf(const char* file, const char* member, std::vector<std::string>& groups) {
  std::FILE* stream = std::fopen(file, "re");
  if (stream == nullptr) {
    return false;
  }
  for (const group* entry = fgetgrent(stream); entry != nullptr; entry = fgetgrent(stream)) {
    if (g_strv_contains(entry->gr_mem, member) != FALSE) {
      groups.emplace_back(entry->gr_name);
    }
  }
  std::fclose(stream);
  return true;
}

FileContent ReadRegularFile(const char* file) {
  if (g_file_test(file, G_FILE_TEST_IS_REGULAR) == FALSE) {
    return {};
  }
  char* text = nullptr;
  gsize size = 0;
  GError* raw_error = nullptr;
  g_file_get_contents(file, &text, &size, &raw_error);
  const GErrorPtr error(raw_error);
  if (g_error_matches(error.get(), G_FILE_ERROR, G_FILE_ERROR_NOMEM) != FALSE) {
    throw std::bad_alloc();  // a file that is too large must not count as missing
  }
  return {GCharPtr(text), size};
}

GKeyFilePtr LoadKeyFile(const char* file, const std::string& group_line) {
  if (g_file_test(file, G_FILE_TEST_EXISTS) == FALSE) {
    return GKeyFilePtr(g_key_file_new());
  }
  const FileContent content = ReadRegularFile(file);
  if (content.text == nullptr) {
    return nullptr;
  }
  const std::string text(content.text.get(), content.size);
  GKeyFilePtr key_file = ParseKeyFile(text);
  return key_file != nullptr ? std::move(key_file) : ParseKeyFile(group_line + text);
}

bool SaveKeyFile(GKeyFile* key_file, const char* file) {
  return g_key_file_save_to_file(key_file, file, nullptr) != FALSE;
}

}  // namespace Host
