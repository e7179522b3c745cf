// The package's JSON settings files, its list of library folders, and the appliance's indexing
// services. Free functions without state.
//
// A folder list is a JSON array of folder records, the content of folder.conf:
//   [{"share": "video", "subpath": "tv/rec", "section": "tv_record", "section_name": "TV Recorder",
//     "path": "/video/tv/rec", "library_id": "7"}, ...]
// All members are strings; a missing one reads as the empty string. `path` is computed from `share`
// and `subpath` whenever the file is loaded. A record without `library_id`, or with an empty one,
// belongs to its section's default library. Other members and the order of the list are kept. A
// null list counts as empty. Strings are compared byte for byte, and paths are not normalised.
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

// A member as a string: the empty string when `object` is no object, when the member is absent, or
// when it holds an array or an object. Never throws.
std::string StringMember(const Json::Value& object, const char* member);

// ---- Settings files

// Writes `value` to the file at `path`, whole and in place, as one line of JSON. False on an empty
// path ("Bad parameter"), on a file that cannot be opened and on an error while writing ("failed to
// write json file[path]"), each logged at LOG_ERR; the file may then be cut short. Deliberate: an
// error that shows only when the file is closed is not noticed.
bool WriteJsonFile(const std::string& path, const Json::Value& value);

// Writes the folder list to folder.conf as it stands. A failure is logged at LOG_ERR, after the
// writer's own line.
bool SaveFolderConf(const Json::Value& folders);

// The folder list of folder.conf, always an array; empty when the file cannot be read.
Json::Value LoadFolderConf();

// Appends the records of folder.conf to `folders`, each with its `path` computed anew. When the
// file cannot be read, nothing is added and a line is logged at LOG_INFO: a missing file is an
// ordinary state. A document that is no array adds nothing, and elements that are no objects are
// dropped; neither is logged.
void ReadFolderConf(Json::Value& folders);

// ---- Folder list records

// A copy of the recording destination: the first record of section "tv_record" in the default
// library. Null when there is none.
Json::Value GetRecordFolder(const Json::Value& folders);

// Copies of the records of one section and library (an empty `library_id` means the default
// library), or, with `exclude`, of all others. An empty section gives an empty array in both cases.
Json::Value FilterFolders(const Json::Value& folders, const std::string& section,
                          const std::string& library_id, bool exclude);

// Removes every record of exactly this share and sub-path; `folders` is an array afterwards.
void RemoveFolder(Json::Value& folders, const std::string& share, const std::string& subpath);

// Whether there is a record of exactly this share and sub-path.
bool HasFolder(const Json::Value& folders, const std::string& share, const std::string& subpath);

// The absolute directory of a folder, from the share database: "/volume1/video/tv/rec". Empty when
// the share cannot be looked up.
std::string GetFolderRealPath(const std::string& share, const std::string& subpath);

// ---- Folder conflicts

// The share-relative path of a folder: "" without a share, else "/share" or "/share/sub/path".
std::string BuildFolderPath(const std::string& share, const std::string& subpath);

// Whether the folder equals, contains or lies inside the folder of any record, by the records'
// `path`. Logs nothing.
bool HasFolderConflict(const Json::Value& folders, const std::string& share,
                       const std::string& subpath);

// Appends a copy of `record`. False, with a line at LOG_ERR and the list unchanged, when its folder
// conflicts.
bool AddFolderIfNoConflict(Json::Value& folders, const Json::Value& record);

// ---- Indexing services. Their results never change a request's outcome. Nothing is logged.

// Signals the indexing daemons that folders have changed: with `all` the general one first, then
// the video indexing and the video metadata daemon. A failure does not stop the next signal.
// Returns the last platform call's result.
int SignalIndexDaemons(bool all);

// Runs the indexing tool to add (kIndexAdd) or remove (kIndexRemove) the folder at a real path,
// which may be empty. True when the tool reports success.
bool RunIndexTool(const std::string& path, const std::string& option);

// ---- Index queues: is a path still waiting for the indexer?
//
// The queue files belong to the indexer and are only read, without a lock. A missing file counts as
// empty; so does one that cannot be opened, with a line at LOG_ERR. A last line without a line feed
// is ignored: the indexer is still writing it.

// Whether any of the indexer's four queue files has an entry for the path.
bool IsPathQueued(const std::string& path);

// Whether a queue file has an entry for exactly this path, of operation "A" or "R". Its lines:
//   A:/volume1/video/film.mkv
//   Cinquill:1:A:/volume1/video/film.mkv     (package, flag, operation; flag 1 only)
bool IsInIndexingQueue(const std::string& queue_file, const std::string& path);

// Whether a queue file has an entry that equals the path or lies inside it. Its lines:
//   A:/volume1/video/film.mkv
//   /volume1/video/film.mkv
// Lines that begin with "u" are ignored.
bool IsInMetadataQueue(const std::string& queue_file, const std::string& path);

}  // namespace Cinquill

#endif  // VIDEO_FOLDERS_VIDEO_FOLDERS_H_
