// The list of library folders and its file, their overlap, and the indexer.
#include <sys/socket.h>

#include "tests/test.h"

namespace Harness {

// The records of a list at these places.
Json::Value Pick(const Json::Value& folders, const std::vector<int>& places) {
  Json::Value picked(Json::arrayValue);
  for (const int place : places) {
    picked.append(folders[place]);
  }
  return picked;
}

TEST(FolderList, IsFilteredByLibrary) {
  const Json::Value folders = Parse(R"([{"section": "tv_record", "library_id": "7"},
      {"section": "movie"}, {"section": "tv_record", "more": 1},
      {"section": "tv_record", "library_id": ""}, {"section": ["tv_record"]}])");
  EXPECT_EQ(FilterFolders(folders, "tv_record", "", false), Pick(folders, {2, 3}));
  EXPECT_EQ(FilterFolders(folders, "tv_record", "", true), Pick(folders, {0, 1, 4}));
  EXPECT_EQ(FilterFolders(folders, "tv_record", "7", false), Pick(folders, {0}));
  EXPECT_EQ(FilterFolders(folders, "", "", true), Pick(folders, {}));
  EXPECT_EQ(GetRecordFolder(folders), folders[2]);
}

TEST(FolderList, LosesAndHasRecordsByTheirExactPlace) {
  const Json::Value folders = Parse(R"([{"share": "video", "subpath": "tv", "section": "a"},
      {"share": "video", "subpath": "tv/"}, {"share": "Video", "subpath": "tv"},
      {"share": "video", "subpath": "tv"}, {"more": {"kept": [1]}}])");
  Json::Value changed = folders;
  RemoveFolder(changed, "video", "tv");
  EXPECT_EQ(changed, Pick(folders, {1, 2, 4}));
  EXPECT_FALSE(HasFolder(changed, "video", "tv"));
  EXPECT_TRUE(HasFolder(folders, "", "")) << "missing members read as empty";
}

TEST(FolderList, IsLoadedWithNewPathsAndAllTheRest) {
  ResetRoot();
  WriteFile(kFolderConf, R"([{"share": "video", "subpath": "a", "path": "/stale"},
      7, null, {"share": "", "subpath": "b", "path": {}, "more": {"k": 1}},
      {"share": 5, "subpath": {"no": "text"}, "path": "/5"}])");
  const Json::Value folders = LoadFolderConf();
  EXPECT_EQ(folders, Parse(R"([{"share": "video", "subpath": "a", "path": "/video/a"},
      {"share": "", "subpath": "b", "path": "", "more": {"k": 1}},
      {"share": 5, "subpath": {"no": "text"}, "path": "/5"}])"));
  Json::Value appended = Pick(folders, {1});
  ReadFolderConf(appended);
  EXPECT_EQ(appended, Pick(folders, {1, 0, 1, 2}));
  EXPECT_TRUE(WriteJsonFile(kRecordConf, {}));
  EXPECT_EQ(ReadFile(kRecordConf), "null\n");
  StartJournal();
  EXPECT_FALSE(WriteJsonFile("", {}));
  EXPECT_EQ(Calls(), Journal{"log 3 video_folders Bad parameter"});
}

TEST(IndexQueue, LinesAreJudgedByTheFormOfTheFile) {
  ResetRoot();
  // A file; whether it is a hit as an indexing queue, and as a metadata queue.
  for (const Json::Value& row : Rows(R"(["A:/v\n", true, true], ["x\n\nR:/v\nA:/v", true, true],
      ["A:/v", false, false], ["a:/v\n", false, true], ["u:/v\n", false, false],
      ["A:/v/film\n", false, true], ["/v\n", false, true], ["Cinquill 1 R /v\n", true, false],
      ["Cinquill:0:A:/v\n", false, false], ["Cinquill:1:D:/v\n", false, false],
      ["cinquill:1:A:/v\n", false, false])")) {
    WriteFile(kIndexingQueue, row[0].asString());
    EXPECT_EQ(IsInIndexingQueue(kIndexingQueue, "/v"), row[1].asBool()) << row;
    EXPECT_EQ(IsInMetadataQueue(kIndexingQueue, "/v"), row[2].asBool()) << row;
  }
  const std::string whole = "Cinquill:1:A:";
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    WriteFile(kIndexingQueue, whole.substr(0, length) + "\n");
    EXPECT_EQ(IsInIndexingQueue(kIndexingQueue, ""), length == whole.size()) << length;
  }
  WriteFile(kIndexingQueue, "/\n");
  EXPECT_FALSE(IsInMetadataQueue(kIndexingQueue, "/")) << "a line of one character";
}

TEST(IndexQueue, IsAnyOfFourFilesThatCanBeOpened) {
  for (const char* file : {kIndexingQueue, kIndexingQueueTmp, kMetadataQueue, kMetadataQueueTmp}) {
    ResetRoot();
    WriteFile(file, "A:/v\n");
    StartJournal();
    EXPECT_TRUE(IsPathQueued("/v") && !IsPathQueued("/w") && Calls().empty()) << file;
  }
  // A socket: nobody can open it, while a file's mode stops no root.
  const int queue = socket(AF_UNIX, SOCK_STREAM, 0);
  std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(queue), kIndexingQueue);
  StartJournal();
  EXPECT_FALSE(IsInIndexingQueue(kIndexingQueue, "/v"));
  EXPECT_EQ(Calls(), Journal{"log 3 video_folders failed to open index queue"
                             "[/var/spool/tesk_indexing_queue]"});
}

TEST(FolderConflict, GoesBothWays) {
  const Json::Value others = Parse(R"([{"path": 7}, {}, 7, {"path": "/video/tv"}])");
  for (const std::string subpath : {"tv", "tv/rec", "", "tv2"}) {
    Json::Value record = Parse(R"({"share": "video", "path": "/not/looked/at", "more": 1})");
    record["subpath"] = subpath;
    Json::Value folders = others;
    StartJournal();
    const bool is_added = AddFolderIfNoConflict(folders, record);
    EXPECT_EQ(is_added, subpath == "tv2");
    EXPECT_EQ(folders[4], is_added ? record : Json::Value());
    EXPECT_TRUE(is_added || Calls()[0] == "log 3 video_folders [/video/" + subpath +
                                              "] conflict with existing folder");
  }
}

TEST(FolderPath, IsThatOfTheShareOrOfTheFileSystem) {
  ResetRoot();
  EXPECT_EQ(BuildFolderPath("tv", "/news/"), "/tv//news/");
  EXPECT_EQ(GetFolderRealPath("tv", "/news"), kRoot + "/volume2/tv//news"s);
  EXPECT_EQ(GetFolderRealPath("tv", ""), kRoot + "/volume2/tv"s);
  EXPECT_EQ(GetFolderRealPath("gone", "tv"), "");
}

TEST(IndexingServices, TellWhatBecameOfTheCall) {
  ResetRoot();
  EXPECT_TRUE(RunIndexTool("/srv/tv", kIndexAdd));
  EXPECT_FALSE(RunIndexTool("", kIndexRemove)) << "the tool refuses an empty path";
  EXPECT_EQ(TLIBCExec("/no/such/program", "", "", "", ""), -1);
  EXPECT_EQ(TLIBCExec("/bin/sh", "-c", "kill -9 $$", "", ""), -1);
  StartJournal();
  EXPECT_EQ(SignalIndexDaemons(false), -1) << "no daemon runs";
  EXPECT_EQ(Calls().size(), 2U) << "the general daemon is left alone";
}

}  // namespace Harness
