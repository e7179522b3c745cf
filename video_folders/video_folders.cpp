#include "video_folders/video_folders.h"

#include <json/writer.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform/system_paths.h"
#include "platform/tesk_index.h"
#include "platform/tesk_share.h"
#include "platform/tlibc.h"
#include "platform/webapi_util.h"

namespace Cinquill {
namespace {

constexpr char kModule[] = "video_folders";

constexpr char kPackage[] = "Cinquill";

// Positions in a line of the indexing queue's package form, "Cinquill:1:A:/volume1/video/film.mkv".
constexpr std::size_t kFlagAt = sizeof(kPackage);  // after the name and one separator
constexpr std::size_t kOperationAt = kFlagAt + 2;
constexpr std::size_t kPathAt = kOperationAt + 2;

constexpr char kLibraryId[] = "library_id";

bool IsInLibrary(const Json::Value& record, const std::string& library_id) {
  return StringMember(record, kLibraryId) == library_id;  // an absent id reads as empty
}

bool IsAt(const Json::Value& record, const std::string& share, const std::string& subpath) {
  return StringMember(record, kShare) == share && StringMember(record, kSubpath) == subpath;
}

std::string Serialize(const Json::Value& value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored \
    "-Wdeprecated-declarations"  // its successor writes no final line feed
  return Json::FastWriter().write(value);
#pragma GCC diagnostic pop
}

// Turns a null list into an array. Speed: works in place, because a long list is slow to build.
template <typename Test>
void RemoveRecords(Json::Value& folders, Test is_unwanted) {
  const auto end = std::remove_if(folders.begin(), folders.end(), is_unwanted);
  const auto removed = static_cast<Json::ArrayIndex>(std::distance(end, folders.end()));
  folders.resize(folders.size() - removed);
}

using LineTest = bool (*)(const std::string& line, const std::string& path);

bool IsInQueue(const std::string& queue_file, const std::string& path, LineTest is_hit) {
  if (access(queue_file.c_str(), F_OK) != 0) {
    return false;
  }
  std::ifstream file(queue_file);
  if (!file) {
    syslog(LOG_ERR, "%s:%d failed to open index queue[%s]", kModule, __LINE__, queue_file.c_str());
    return false;
  }
  std::string line;
  while (std::getline(file, line) && !file.eof()) {
    if (is_hit(line, path)) {
      return true;
    }
  }
  return false;
}

bool IsShortForm(std::string_view line) { return line[1] == ':'; }

bool IsPendingOperation(char operation) { return operation == 'A' || operation == 'R'; }

bool IsIndexingHit(const std::string& line, const std::string& path) {
  const std::string_view text = line;
  if (text.size() < 2) {
    return false;
  }
  if (IsShortForm(text)) {
    return IsPendingOperation(text[0]) && text.substr(2) == path;
  }
  return text.size() >= kPathAt && text.rfind(kPackage, 0) == 0 && text[kFlagAt] == '1' &&
         IsPendingOperation(text[kOperationAt]) && text.substr(kPathAt) == path;
}

bool IsMetadataHit(const std::string& line, const std::string& path) {
  if (line.size() < 2 || line[0] == 'u') {
    return false;
  }
  return TESKIndexUtils::IsEqualOrSubPath(IsShortForm(line) ? line.substr(2) : line, path);
}

}  // namespace

std::string StringMember(const Json::Value& object, const char* member) {
  if (!object.isObject()) {
    return {};
  }
  const Json::Value& value = object[member];
  return value.isArray() || value.isObject() ? std::string() : value.asString();
}

bool WriteJsonFile(const std::string& path, const Json::Value& value) {
  if (path.empty()) {
    syslog(LOG_ERR, "%s:%d Bad parameter", kModule, __LINE__);
    return false;
  }
  // Opening the file empties it. The text and the stream's buffer are allocated before, so that a
  // lack of memory cannot leave an empty file.
  const std::string text = Serialize(value);
  char buffer[BUFSIZ];
  std::ofstream file;
  file.rdbuf()->pubsetbuf(buffer, sizeof(buffer));
  file.open(path, std::ios::out | std::ios::trunc);
  if (!file) {
    syslog(LOG_ERR, "%s:%d failed to write json file[%s]", kModule, __LINE__, path.c_str());
    return false;
  }
  file << text;
  if (!file) {
    syslog(LOG_ERR, "%s:%d failed to write json file[%s]", kModule, __LINE__, path.c_str());
    return false;
  }
  return true;
}

bool SaveFolderConf(const Json::Value& folders) {
  if (!WriteJsonFile(SystemPaths::kFolderConf, folders)) {
    syslog(LOG_ERR, "%s:%d Failed to save folder config", kModule, __LINE__);
    return false;
  }
  return true;
}

Json::Value LoadFolderConf() {
  Json::Value folders(Json::arrayValue);
  ReadFolderConf(folders);
  return folders;
}

void ReadFolderConf(Json::Value& folders) {
  Json::Value document;
  if (!TESK::WebAPIUtil::ReadJsonFile(document, SystemPaths::kFolderConf)) {
    syslog(LOG_INFO, "%s:%d Failed to load folder config", kModule, __LINE__);
    return;
  }
  if (!document.isArray()) {
    return;
  }
  RemoveRecords(document, [](const Json::Value& record) { return !record.isObject(); });
  for (Json::Value& record : document) {
    record[kPath] = BuildFolderPath(StringMember(record, kShare), StringMember(record, kSubpath));
  }
  if (folders.empty()) {  // Speed: moves no record.
    folders.swap(document);
  }
  for (Json::Value& record : document) {
    folders.append(std::move(record));
  }
}

Json::Value GetRecordFolder(const Json::Value& folders) {
  const Json::Value records = FilterFolders(folders, kRecordSection, "", false);
  return records.empty() ? Json::Value() : records[0];
}

Json::Value FilterFolders(const Json::Value& folders, const std::string& section,
                          const std::string& library_id, bool exclude) {
  Json::Value result(Json::arrayValue);
  if (section.empty()) {
    return result;
  }
  for (const Json::Value& record : folders) {
    const bool matches =
        StringMember(record, kSection) == section && IsInLibrary(record, library_id);
    if (matches != exclude) {
      result.append(record);
    }
  }
  return result;
}

void RemoveFolder(Json::Value& folders, const std::string& share, const std::string& subpath) {
  RemoveRecords(folders, [&](const Json::Value& record) { return IsAt(record, share, subpath); });
}

bool HasFolder(const Json::Value& folders, const std::string& share, const std::string& subpath) {
  return std::any_of(folders.begin(), folders.end(),
                     [&](const Json::Value& record) { return IsAt(record, share, subpath); });
}

std::string GetFolderRealPath(const std::string& share, const std::string& subpath) {
  TESKShare* record = nullptr;
  if (TESKShareGet(share.c_str(), &record) != 0 || record == nullptr) {
    return {};
  }
  std::string path = record->path;
  if (!subpath.empty()) {
    path += "/" + subpath;
  }
  TESKShareFree(record);
  return path;
}

std::string BuildFolderPath(const std::string& share, const std::string& subpath) {
  if (share.empty()) {
    return {};
  }
  return subpath.empty() ? "/" + share : "/" + share + "/" + subpath;
}

bool HasFolderConflict(const Json::Value& folders, const std::string& share,
                       const std::string& subpath) {
  const std::string candidate = BuildFolderPath(share, subpath);
  for (const Json::Value& record : folders) {
    const std::string existing = StringMember(record, kPath);
    if (TESKIndexUtils::IsEqualOrSubPath(candidate, existing) ||
        TESKIndexUtils::IsEqualOrSubPath(existing, candidate)) {
      return true;
    }
  }
  return false;
}

bool AddFolderIfNoConflict(Json::Value& folders, const Json::Value& record) {
  const std::string share = StringMember(record, kShare);
  const std::string subpath = StringMember(record, kSubpath);
  if (HasFolderConflict(folders, share, subpath)) {
    // Not BuildFolderPath(), on purpose: the text has the second slash also without a sub-path.
    syslog(LOG_ERR, "%s:%d [/%s/%s] conflict with existing folder", kModule, __LINE__,
           share.c_str(), subpath.c_str());
    return false;
  }
  folders.append(record);
  return true;
}

int SignalIndexDaemons(bool all) {
  if (all) {
    TLIBCProcSignalByPidFile(SystemPaths::kIndexDaemonPid, SIGUSR2);
  }
  TLIBCProcSignalByPidFile(SystemPaths::kVideoIndexDaemonPid, SIGUSR2);
  return TLIBCProcSignalByPidFile(SystemPaths::kVideoMetadataDaemonPid, SIGUSR2);
}

bool RunIndexTool(const std::string& path, const std::string& option) {
  return TLIBCExec(SystemPaths::kIndexTool, option.c_str(), path.c_str(), "-P", kPackage) == 0;
}

bool IsPathQueued(const std::string& path) {
  return IsInIndexingQueue(SystemPaths::kIndexingQueue, path) ||
         IsInIndexingQueue(SystemPaths::kIndexingQueueTmp, path) ||
         IsInMetadataQueue(SystemPaths::kMetadataQueue, path) ||
         IsInMetadataQueue(SystemPaths::kMetadataQueueTmp, path);
}

bool IsInIndexingQueue(const std::string& queue_file, const std::string& path) {
  return IsInQueue(queue_file, path, IsIndexingHit);
}

bool IsInMetadataQueue(const std::string& queue_file, const std::string& path) {
  return IsInQueue(queue_file, path, IsMetadataHit);
}

}  // namespace Cinquill
