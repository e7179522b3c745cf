#include "host/platform/core.h"

#include <grp.h>

#include <cstdio>
#include <new>

namespace Host {

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

GKeyFilePtr LoadKeyFile(const char* file) {
  GKeyFilePtr key_file(g_key_file_new());
  if (g_file_test(file, G_FILE_TEST_EXISTS) == FALSE) {
    return key_file;
  }
  const FileContent content = ReadRegularFile(file);
  if (content.text == nullptr ||
      g_key_file_load_from_data(key_file.get(), content.text.get(), content.size,
                                G_KEY_FILE_KEEP_COMMENTS, nullptr) == FALSE) {
    return nullptr;
  }
  return key_file;
}

bool SaveKeyFile(GKeyFile* key_file, const char* file) {
  return g_key_file_save_to_file(key_file, file, nullptr) != FALSE;
}

}  // namespace Host
