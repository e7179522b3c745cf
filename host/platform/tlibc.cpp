// Stands in for the core library. What it does not imitate: the flags of the key-value calls, and
// more error codes than errno has. What it decides by itself:
// - A key-value file is replaced in one step, so that an error leaves it as it was. One that is
//   not a regular file or not a key file is an error. Its group line, "[settings]", may be missing.
// - All errors of key-value files and of process control are -1; TLIBCFileGetKeyValue() otherwise
//   returns the whole value's length, and its buffer is terminated in every case.
// - TLIBCExec() waits for the program's end, discards its standard output and returns its exit
//   status, or -1 when it could not be run or was ended by a signal.
#include "platform/tlibc.h"

#include <glib.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "host/platform/core.h"

namespace {

constexpr char kSettingsGroup[] = "settings";
constexpr char kSettingsGroupLine[] = "[settings]\n";

// A whole list; callers see only the count.
struct StringList : TLIBCSzList {
  std::vector<std::string> items;
};

int last_error = 0;

const StringList* Full(const TLIBCSzList* list) { return static_cast<const StringList*>(list); }

// Reads a value into `value`: 1 when there is one, 0 when there is none, -1 on error.
int ReadValue(const char* file, const char* key, std::string& value) {
  const Host::GKeyFilePtr settings = Host::LoadKeyFile(file, kSettingsGroupLine);
  if (settings == nullptr) {
    return -1;
  }
  const Host::GCharPtr stored(g_key_file_get_value(settings.get(), kSettingsGroup, key, nullptr));
  if (stored == nullptr) {
    return 0;
  }
  const Host::GCharPtr plain(g_uri_unescape_string(stored.get(), nullptr));
  if (plain == nullptr) {
    return -1;
  }
  value = plain.get();
  return 1;
}

}  // namespace

namespace Host {

void SetError(int code) { last_error = code; }

void AppendItem(TLIBCSzList* list, const char* item) {
  auto* full = static_cast<StringList*>(list);
  full->items.emplace_back(item);
  ++full->count;
}

}  // namespace Host

int TLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int /*flags*/) {
  std::string value;
  const int found = ReadValue(file, key, value);
  g_strlcpy(buffer, value.c_str(), static_cast<gsize>(size));
  return found > 0 ? static_cast<int>(value.size()) : found;
}

// Stores values percent-encoded: a key file drops a value's leading white space, and a line feed
// ends it.
int TLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int /*flags*/) {
  const Host::GKeyFilePtr settings = Host::LoadKeyFile(file, kSettingsGroupLine);
  if (settings == nullptr) {
    return -1;
  }
  const Host::GCharPtr encoded(g_uri_escape_string(value, nullptr, FALSE));
  g_key_file_set_value(settings.get(), kSettingsGroup, key, encoded.get());
  return Host::SaveKeyFile(settings.get(), file) ? 0 : -1;
}

int TLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int /*flags*/) {
  std::string stored;
  const int found = ReadValue(file, key, stored);
  return found > 0 ? static_cast<int>(stored == value) : found;
}

int TLIBCProcSignalByPidFile(const char* pid_file, int signal) {
  const Host::FileContent content = Host::ReadRegularFile(pid_file);
  if (content.text == nullptr) {
    return -1;
  }
  std::string text(content.text.get(), content.size);
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  // 0 and negative numbers name groups of processes; 1 is the system's first process.
  guint64 pid = 0;
  if (text.find('\0') != std::string::npos ||
      g_ascii_string_to_unsigned(text.c_str(), 10, 2, G_MAXINT, &pid, nullptr) == FALSE) {
    return -1;
  }
  return kill(static_cast<pid_t>(pid), signal);
}

int TLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
              const char* arg4) {
  std::vector<std::string> words{program, arg1, arg2, arg3, arg4};
  std::vector<char*> arguments;
  std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                 [](std::string& word) { return word.data(); });
  arguments.push_back(nullptr);
  // Speed: our descriptors are close-on-exec. GLib need not close them, and can use posix_spawn.
  constexpr auto kFlags =
      static_cast<GSpawnFlags>(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_LEAVE_DESCRIPTORS_OPEN);
  int status = 0;
  if (g_spawn_sync(nullptr, arguments.data(), nullptr, kFlags, nullptr, nullptr, nullptr, nullptr,
                   &status, nullptr) == FALSE) {
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TLIBCSzList* TLIBCSzListAlloc(int /*capacity*/) { return new StringList{}; }

const char* TLIBCSzListGet(const TLIBCSzList* list, int index) {
  return Full(list)->items[static_cast<std::size_t>(index)].c_str();
}

int TLIBCSzListFind(const TLIBCSzList* list, const char* item) {
  const std::vector<std::string>& items = Full(list)->items;
  const auto found = std::find(items.begin(), items.end(), item);
  return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

void TLIBCSzListFree(TLIBCSzList* list) { delete static_cast<StringList*>(list); }

TLIBCSzList* TLIBCListDBGet1(TLIBCListDB* db, const char* name, const void* /*reserved*/) {
  std::vector<std::string> groups;
  if (!Host::GroupsOf(db->file, name, groups) || groups.empty()) {
    return nullptr;
  }
  TLIBCSzList* list = TLIBCSzListAlloc(0);
  for (const std::string& group : groups) {
    Host::AppendItem(list, group.c_str());
  }
  return list;
}

int TLIBCErrGet() { return last_error; }
