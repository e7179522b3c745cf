#include "video_folders/video_folders.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "platform/system_paths.h"
#include "tests/recording_platform.h"
#include "tests/test_root.h"

namespace Cinquill {
namespace {

using Recording::Journal;

// The subpaths of a list, joined: enough to tell its records and their order.
std::string Names(const Json::Value& folders) {
  std::string names;
  for (const Json::Value& record : folders) {
    names += record["subpath"].asString() + " ";
  }
  return names;
}

class VideoFolders : public testing::Test {
 protected:
  void SetUp() override {
    ResetRoot();
    Recording::Start({});
  }
};

TEST_F(VideoFolders, FilterFindsTheRecordsOfOneLibrary) {
  const Json::Value folders = Parse(R"([
      {"subpath": "lib7", "section": "tv_record", "library_id": "7"},
      {"subpath": "movies", "section": "movie"},
      {"subpath": "none", "section": "tv_record"},
      {"subpath": "empty", "section": "tv_record", "library_id": ""},
      {"subpath": "zero", "section": "tv_record", "library_id": "0"},
      {"subpath": "number", "section": "tv_record", "library_id": 7},
      {"subpath": "list", "section": ["tv_record"]}])");
  struct Row {
    const char* section;
    const char* library_id;
    bool exclude;
    const char* names;
  };
  for (const Row& row : std::vector<Row>{{"tv_record", "", false, "none empty "},
                                         {"tv_record", "", true, "lib7 movies zero number list "},
                                         {"tv_record", "7", false, "lib7 number "},
                                         {"", "", false, ""},
                                         {"", "", true, ""}}) {
    SCOPED_TRACE(testing::Message() << row.section << " " << row.library_id << row.exclude);
    const Json::Value found = FilterFolders(folders, row.section, row.library_id, row.exclude);
    EXPECT_TRUE(found.isArray());
    EXPECT_EQ(Names(found), row.names);
  }
  EXPECT_EQ(GetRecordFolder(folders), folders[2]);
  EXPECT_TRUE(GetRecordFolder(Parse(R"([{"section": "movie"}])")).isNull());
  EXPECT_TRUE(GetRecordFolder(Json::Value()).isNull());
}

TEST_F(VideoFolders, RemoveAndHasGoByTheExactPlace) {
  const Json::Value folders = Parse(R"([
      {"share": "video", "subpath": "tv", "section": "a"},
      {"share": "video", "subpath": "tv/"},
      {"share": "Video", "subpath": "tv"},
      {"share": "video", "subpath": "tv", "more": {"kept": [1]}},
      {"more": true}])");
  Json::Value changed = folders;
  RemoveFolder(changed, "video", "tv");
  ASSERT_EQ(changed.size(), 3U);
  EXPECT_EQ(changed[0], folders[1]);
  EXPECT_EQ(changed[1], folders[2]);
  EXPECT_EQ(changed[2], folders[4]);
  EXPECT_FALSE(HasFolder(changed, "video", "tv"));
  EXPECT_TRUE(HasFolder(folders, "video", "tv"));
  EXPECT_TRUE(HasFolder(folders, "", "")) << "missing members read as empty";

  changed = folders;
  RemoveFolder(changed, "music", "tv");
  EXPECT_EQ(changed, folders);
  Json::Value nothing;
  EXPECT_FALSE(HasFolder(nothing, "", ""));
  RemoveFolder(nothing, "", "");
  EXPECT_EQ(nothing, Json::Value(Json::arrayValue));
}

TEST_F(VideoFolders, ConflictsInBothDirections) {
  struct Row {
    const char* path;
    const char* share;
    const char* subpath;
    bool conflicts;
  };
  for (const Row& row : std::vector<Row>{{"/video/tv", "video", "tv", true},
                                         {"/video/tv", "video", "tv/rec", true},
                                         {"/video/tv", "video", "", true},
                                         {"/video", "video", "any", true},
                                         {"/video/tv", "music", "tv", false},
                                         {"/video/tv", "video", "tv2", false},
                                         {"", "video", "tv", false}}) {
    SCOPED_TRACE(testing::Message() << row.path << " " << row.share << " " << row.subpath);
    Json::Value folders = Parse(R"([{"path": "/photo"}, {"path": "", "share": "ignored"}])");
    folders[1]["path"] = row.path;
    Json::Value record = Parse(R"({"path": "/not/looked/at", "more": 1})");
    record["share"] = row.share;
    record["subpath"] = row.subpath;
    const Json::Value before = folders;
    Recording::Start({});
    EXPECT_EQ(HasFolderConflict(folders, row.share, row.subpath), row.conflicts);
    EXPECT_EQ(Recording::Calls(), Journal{});
    EXPECT_EQ(AddFolderIfNoConflict(folders, record), !row.conflicts);
    if (row.conflicts) {
      EXPECT_EQ(folders, before);
      EXPECT_EQ(Recording::Calls(), Journal{std::string("log 3 video_folders: [/") + row.share +
                                            "/" + row.subpath + "] conflict with existing folder"});
    } else {
      EXPECT_EQ(folders[2], record);
      EXPECT_EQ(folders.size(), 3U);
    }
  }
}

TEST_F(VideoFolders, PathsOfAFolder) {
  EXPECT_EQ(BuildFolderPath("", "tv"), "");
  EXPECT_EQ(BuildFolderPath("video", ""), "/video");
  EXPECT_EQ(BuildFolderPath("video", "/tv/"), "/video//tv/");
  EXPECT_EQ(GetFolderRealPath("video", "tv/news"), "/volume1/video/tv/news");
  EXPECT_EQ(GetFolderRealPath("video", ""), "/volume1/video");
  EXPECT_EQ(GetFolderRealPath("gone", "tv"), "");
  EXPECT_EQ(Recording::Calls(), (Journal{"share_get video", "share_free", "share_get video",
                                         "share_free", "share_get gone"}));
}

TEST_F(VideoFolders, LoadingComputesPathsAnewAndKeepsTheRest) {
  WriteFile(SystemPaths::kFolderConf, R"([{"share": "video", "subpath": "a", "path": "/stale"},
      7, null, ["share"], "text", {"share": "", "subpath": "b", "path": "/x", "more": {"k": 1}},
      {"share": 5, "subpath": {"no": "text"}}])");
  const Json::Value folders = LoadFolderConf();
  EXPECT_EQ(folders, Parse(R"([{"share": "video", "subpath": "a", "path": "/video/a"},
      {"share": "", "subpath": "b", "path": "", "more": {"k": 1}},
      {"share": 5, "subpath": {"no": "text"}, "path": "/5"}])"));
  Json::Value appended = Parse(R"([1])");
  ReadFolderConf(appended);
  EXPECT_EQ(appended.size(), 4U);
  EXPECT_EQ(appended[1], folders[0]);
  EXPECT_TRUE(SaveFolderConf(folders));
  EXPECT_EQ(LoadFolderConf(), folders);
}

TEST_F(VideoFolders, WhatIsNoListLoadsAsAnEmptyOne) {
  struct Row {
    const char* content;
    bool logged;
  };
  const std::string log = "log 6 video_folders: Failed to load folder config";
  for (const Row& row : std::vector<Row>{{"[]", false},
                                         {"null", false},
                                         {"7", false},
                                         {R"({"share": "video"})", false},
                                         {"", true},
                                         {R"([{"share":)", true}}) {
    SCOPED_TRACE(row.content);
    WriteFile(SystemPaths::kFolderConf, row.content);
    Recording::Start({});
    EXPECT_EQ(LoadFolderConf(), Json::Value(Json::arrayValue));
    EXPECT_EQ(Recording::Calls().back() == log, row.logged);
  }
}

TEST_F(VideoFolders, WritingReportsWhatItSees) {
  const std::string root = SystemPaths::kRoot;
  const std::string log = "log 3 video_folders: ";
  Json::Value large;
  large["text"] = std::string(10000, 'x');
  std::filesystem::create_symlink("/dev/full", root + "/full");
  struct Row {
    const char* name;
    std::string path;
    Json::Value value;
    std::string line;
  };
  for (const Row& row : std::vector<Row>{
           {"null", root + "/null.conf", {}, ""},
           {"empty path", "", large, log + "Bad parameter"},
           {"no folder", root + "/no/x", large, log + "failed to write json file[/no/x]"},
           {"a folder", root + "/etc", large, log + "failed to write json file[/etc]"},
           {"disk full", root + "/full", large, log + "failed to write json file[/full]"},
           {"disk full, seen at closing only", root + "/full", {}, ""}}) {
    SCOPED_TRACE(row.name);
    Recording::Start({});
    EXPECT_EQ(WriteJsonFile(row.path, row.value), row.line.empty());
    EXPECT_EQ(Recording::Calls(), row.line.empty() ? Journal{} : Journal{row.line});
  }
  EXPECT_EQ(ReadFile(root + "/null.conf"), "null\n");
}

TEST_F(VideoFolders, SignalsAndToolGoOutInOrderWhateverBecomesOfThem) {
  const Journal all{"signal /var/run/teskindexd.pid 12", "signal /var/run/teskvideoindexd.pid 12",
                    "signal /var/run/teskvideometadatad.pid 12"};
  for (int failing = 0; failing < 3; ++failing) {
    Recording::Answers answers;
    answers.failing_call = failing;
    Recording::Start(answers);
    EXPECT_EQ(SignalIndexDaemons(true), failing == 2 ? -1 : 0);
    EXPECT_EQ(Recording::Calls(), all);
  }
  Recording::Start({});
  SignalIndexDaemons(false);
  EXPECT_EQ(Recording::Calls(), (Journal{all[1], all[2]}));

  Recording::Answers answers;
  answers.failing_call = 1;
  Recording::Start(answers);
  EXPECT_TRUE(RunIndexTool("/srv/video/tv", kIndexAdd));
  EXPECT_FALSE(RunIndexTool("", kIndexRemove));
  EXPECT_EQ(Recording::Calls(),
            (Journal{"exec /usr/tesk/bin/teskindex -A [/srv/video/tv] -P Cinquill",
                     "exec /usr/tesk/bin/teskindex -D [] -P Cinquill"}));
}

// ---- Index queues

struct QueueRow {
  std::string content;
  bool in_indexing_queue;
  bool in_metadata_queue;
};

TEST_F(VideoFolders, QueueLinesAreJudgedByTheFormOfTheFile) {
  using namespace std::string_literals;
  for (const QueueRow& row : std::vector<QueueRow>{{"A:/v/tv\n", true, true},
                                                   {"R:/v/tv\n", true, true},
                                                   {"D:/v/tv\n", false, true},
                                                   {"a:/v/tv\n", false, true},
                                                   {"u:/v/tv\n", false, false},
                                                   {"U:/v/tv\n", false, true},
                                                   {"A:/v/tv", false, false},
                                                   {"x\n\nA:/v/tv\nA:/v/tv", true, true},
                                                   {"A:/v/tv\r\n", false, false},
                                                   {"A:/v/tv\0\n"s, false, false},
                                                   {"\0:/v/tv\n"s, false, true},
                                                   {"A:/v/tv/film\n", false, true},
                                                   {"A:/v\n", false, false},
                                                   {"/v/tv\n", false, true},
                                                   {"/v/tv/film\n", false, true},
                                                   {"u/v/tv\n", false, false},
                                                   {"A\n", false, false},
                                                   {"A:\n", false, false},
                                                   {"Cinquill:1:A:/v/tv\n", true, false},
                                                   {"Cinquill 1 R /v/tv\n", true, false},
                                                   {"Cinquill:0:A:/v/tv\n", false, false},
                                                   {"Cinquill:1:D:/v/tv\n", false, false},
                                                   {"Cinquill:1:A:/v/tv/film\n", false, false},
                                                   {" Cinquill:1:A:/v/tv\n", false, false},
                                                   {"Cinquill2:1:A:/v/tv\n", false, false},
                                                   {"Cinquil\n", false, false}}) {
    SCOPED_TRACE(row.content);
    const std::string file = SystemPaths::kIndexingQueue;
    WriteFile(file, row.content);
    EXPECT_EQ(IsInIndexingQueue(file, "/v/tv"), row.in_indexing_queue);
    EXPECT_EQ(IsInMetadataQueue(file, "/v/tv"), row.in_metadata_queue);
  }
  WriteFile(SystemPaths::kMetadataQueue, "/\n");
  EXPECT_FALSE(IsInMetadataQueue(SystemPaths::kMetadataQueue, "/")) << "a line of one character";
  const std::string whole = "Cinquill:1:A:";
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    WriteFile(SystemPaths::kIndexingQueue, whole.substr(0, length) + "\n");
    EXPECT_EQ(IsInIndexingQueue(SystemPaths::kIndexingQueue, ""), length == whole.size()) << length;
  }
}

TEST_F(VideoFolders, EveryQueueFileIsAsked) {
  const std::string spool = std::string(SystemPaths::kRoot) + "/var/spool/tesk_";
  const std::vector<std::string> files{spool + "indexing_queue", spool + "indexing_queue.tmp",
                                       spool + "video_metadata.queue",
                                       spool + "video_metadata.queue.tmp"};
  EXPECT_FALSE(IsPathQueued("/v/tv"));
  for (const std::string& file : files) {
    WriteFile(file, "A:/v/tv/film\n");
    EXPECT_EQ(IsPathQueued("/v/tv"), file.find("metadata") != std::string::npos) << file;
    EXPECT_TRUE(IsPathQueued("/v/tv/film")) << file;
    std::filesystem::remove(file);
  }
  std::filesystem::create_directory(files[0]);
  WriteFile(files[3], std::string(8'000'000, 'x') + "\nA:/v/tv\n");
  EXPECT_TRUE(IsPathQueued("/v/tv")) << "a folder in a file's place is passed over";
  EXPECT_EQ(Recording::Calls(), Journal{});
}

TEST_F(VideoFolders, AQueueFileThatCannotBeOpenedIsLogged) {
  // A socket: nobody can open it, while a file's mode stops no root. Its own path may be too long.
  const std::string file = SystemPaths::kIndexingQueue;
  sockaddr_un address{AF_UNIX, "tesk_indexing_queue"};
  const int queue = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(chdir(file.substr(0, file.rfind('/')).c_str()), 0);
  ASSERT_EQ(bind(queue, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_FALSE(IsInIndexingQueue(file, "/v/tv"));
  EXPECT_FALSE(IsInMetadataQueue(file, "/v/tv"));
  const std::string log =
      "log 3 video_folders: failed to open index queue[/var/spool/tesk_indexing_queue]";
  EXPECT_EQ(Recording::Calls(), (Journal{log, log}));
  close(queue);
}

}  // namespace
}  // namespace Cinquill
