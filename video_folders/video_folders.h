// Free functions, without state, for the package's JSON settings files, its list of library folders
// and the appliance's indexing services.
//
// A folder list is a JSON array of folder records, the content of folder.conf:
//   [{"share": "video", "subpath": "tv/rec", "section": "tv_record", "section_name": "TV Recorder",
//     "path": "/video/tv/rec", "library_id": "7"}, ...]
// All members are strings; a missing one reads as the empty string. Loading the file computes
// `path` from `share` and `subpath`. A record whose `library_id` is missing or empty belongs to the
// default library of its section. Other members and the order of the list are kept. A null list
// counts as empty. Strings are compared byte for byte. Paths are not normalised.
#ifndef VIDEO_FOLDERS_VIDEO_FOLDERS_H_
#define VIDEO_FOLDERS_VIDEO_FOLDERS_H_

#include <json/value.h>

#include <string>

namespace Cinquill {

inline constexpr char kShare[] = "share";
inline constexpr char kSubpath[] = "subpath";
inline constexpr char kSection[] = "section";
inline constexpr char kPath[] = "path";

// The section of the recording destination.
inline constexpr char kRecordSection[] = "tv_record";

// The options of RunIndexTool().
inline constexpr char kIndexAdd[] = "-A";
inline constexpr char kIndexRemove[] = "-D";

// Returns a member as a string, or the empty string if `object` is not an object or if the member
// is absent, an array or an object. Never throws.
std::string StringMember(const Json::Value& object, const char* member);

// ---- Settings files

// Writes `value` to the file at `path` as one line of compact JSON with a final line feed. Replaces
// the content in place. Returns false, with a line at LOG_ERR, if `path` is empty ("Bad
// parameter"), or if the file cannot be opened or written ("failed to write json file[path]"). A
// file that could be opened may then be cut short. An error at close is not noticed.
bool WriteJsonFile(const std::string& path, const Json::Value& value);

// Writes the folder list to folder.conf, unchanged. Returns false, with a second line at LOG_ERR,
// if WriteJsonFile() fails.
bool SaveFolderConf(const Json::Value& folders);

// Returns the folder list of folder.conf, always an array. It is empty if ReadFolderConf() adds
// nothing.
Json::Value LoadFolderConf();

// Appends the records of folder.conf to `folders`, each with its `path` recomputed. If the file
// cannot be read, adds nothing and logs a line at LOG_INFO: a missing file is an ordinary state. A
// document that is not an array adds nothing. Elements that are not objects are dropped. Neither
// is logged.
void ReadFolderConf(Json::Value& folders);

// ---- Folder list records

// Returns a copy of the recording destination, which is the first record of section "tv_record" in
// the default library, or null if there is none.
Json::Value GetRecordFolder(const Json::Value& folders);

// Returns copies of the records of one section and library or, with `exclude`, of all other
// records. An empty `library_id` means the default library. An empty section gives an empty array,
// on purpose also with `exclude`.
Json::Value FilterFolders(const Json::Value& folders, const std::string& section,
                          const std::string& library_id, bool exclude);

// Removes every record with exactly this share and sub-path. A null list becomes an empty array.
void RemoveFolder(Json::Value& folders, const std::string& share, const std::string& subpath);

// Returns whether a record has exactly this share and sub-path.
bool HasFolder(const Json::Value& folders, const std::string& share, const std::string& subpath);

// Returns the absolute directory of a folder, such as "/volume1/video/tv/rec", from the share
// database. Returns an empty string if the share cannot be looked up.
std::string GetFolderRealPath(const std::string& share, const std::string& subpath);

// ---- Folder conflicts

// Returns the share-relative path of a folder: "/share" or "/share/sub/path", or "" without a
// share.
std::string BuildFolderPath(const std::string& share, const std::string& subpath);

// Returns whether the folder equals, contains or lies inside the folder that any record has as its
// `path`. Logs nothing.
bool HasFolderConflict(const Json::Value& folders, const std::string& share,
                       const std::string& subpath);

// Appends a copy of `record` and returns true. If its folder conflicts, leaves the list unchanged,
// logs a line at LOG_ERR and returns false.
bool AddFolderIfNoConflict(Json::Value& folders, const Json::Value& record);

// ---- Indexing services. Callers ignore the results. Nothing is logged.

// Signals the indexing daemons that folders have changed: the general one (only if `all`), the
// video indexing daemon and the video metadata daemon, in this order. A failure does not stop the
// next signal. Returns the result of the last platform call.
int SignalIndexDaemons(bool all);

// Runs the indexing tool to add (kIndexAdd) or remove (kIndexRemove) the folder at `path`, an
// absolute directory. An empty path is passed on. Returns whether the tool reports success.
bool RunIndexTool(const std::string& path, const std::string& option);

// ---- Index queues: is a path still waiting for the indexer?
//
// The queue files belong to the indexer. They are only read, without a lock. A missing file counts
// as empty. So does a file that cannot be opened, but that logs a line at LOG_ERR. A last line
// without a line feed is ignored: the indexer is still writing it. A line of fewer than two
// characters is ignored, too. The two formats differ on purpose.

// Returns whether any of the indexer's queue files has an entry for the path.
bool IsPathQueued(const std::string& path);

// Returns whether a queue file has an entry for exactly this path. Only operations "A" and "R"
// count. A line takes one of two forms:
//   A:/volume1/video/film.mkv                operation and path
//   Cinquill:1:A:/volume1/video/film.mkv     package, flag, operation and path; only flag 1 counts
// In the second form any characters may stand in place of the three colons.
bool IsInIndexingQueue(const std::string& queue_file, const std::string& path);

// Returns whether a queue file has an entry that equals the path or lies inside it. A line takes
// one of two forms, but a line that begins with "u" is ignored:
//   A:/volume1/video/film.mkv     operation and path; every operation counts
//   /volume1/video/film.mkv       path
bool IsInMetadataQueue(const std::string& queue_file, const std::string& path);

}  // namespace Cinquill

#endif  // VIDEO_FOLDERS_VIDEO_FOLDERS_H_
