// The list of library folders and its file, their overlap, and the indexer.
#include <sys/socket.h>

#include "tests/test.h"

namespace Cinquill::Harness {
namespace {

using namespace SystemPaths;

TEST(FolderList, IsFilteredBySectionAndLibrary) {
  const Json::Value folders = Parse(R"([{"id":0,"library_id":"0","section":"tv_record"},
      {"id":1,"section":"movie"}, {"id":2,"section":"tv_record"},
      {"id":3,"library_id":"","section":"tv_record"}, {"id":4,"section":["tv_record"]}])");
  const auto ids = [&folders](const char* section, const char* library_id, bool exclude) {
    std::string text;
    for (const Json::Value& record : FilterFolders(folders, section, library_id, exclude)) {
      text += Text(record["id"]);
    }
    return text;
  };
  EXPECT_EQ(ids("tv_record", "", false), "23");
  EXPECT_EQ(ids("tv_record", "", true), "014");
  EXPECT_EQ(ids("tv_record", "0", false), "0");
  EXPECT_EQ(Text(FilterFolders(folders, "", "", true)), "[]") << "no section, no records";
}

TEST(FolderList, MatchesShareAndSubpathExactly) {
  Json::Value folders = Parse(R"([{"share":"video","subpath":"tv","section":"a"},
      {"share":"video","subpath":"tv/"}, {"share":"Video","subpath":"tv"},
      {"share":"video","subpath":"tv"}, {"more":1}])");
  EXPECT_TRUE(HasFolder(folders, "", "")) << "missing members read as empty";
  RemoveFolder(folders, "video", "tv");
  EXPECT_FALSE(HasFolder(folders, "video", "tv"));
  EXPECT_EQ(Text(folders), R"([{"share":"video","subpath":"tv/"},{"share":"Video","subpath":"tv"},)"
                           R"({"more":1}])");
}

TEST(FolderList, IsLoadedWithComputedPaths) {
  WriteFile(kFolderConf, R"([{"share": "video", "subpath": "a", "path": "/stale"},
      7, null, {"share": "", "subpath": "b", "path": {}, "more": {"k": 1}},
      {"share": 5, "subpath": {"no": "text"}, "path": "/5"}])");
  const std::string loaded = R"({"path":"/video/a","share":"video","subpath":"a"},)"
                             R"({"more":{"k":1},"path":"","share":"","subpath":"b"},)"
                             R"({"path":"/5","share":5,"subpath":{"no":"text"}}])";
  EXPECT_EQ(Text(LoadFolderConf()), "[" + loaded);
  Json::Value folders = Parse("[1]");
  ReadFolderConf(folders);
  EXPECT_EQ(Text(folders), "[1," + loaded) << "records are appended";
}

TEST(JsonFile, IsNotWrittenWithoutAPath) {
  StartJournal();
  EXPECT_FALSE(WriteJsonFile("", {}));
  EXPECT_EQ(Journal(), "syslog error video_folders: Bad parameter\n");
}

// In which of the two forms of a queue the content is a hit for a path.
std::string Hits(const std::string& content, const std::string& path = "/v") {
  WriteFile(kIndexingQueue, content);
  return std::string(IsInIndexingQueue(kIndexingQueue, path) ? "indexing " : "") +
         (IsInMetadataQueue(kIndexingQueue, path) ? "metadata" : "");
}

TEST(IndexQueue, IsReadInTwoForms) {
  EXPECT_EQ(Hits("A:/v\n"), "indexing metadata");
  EXPECT_EQ(Hits("x\n\nR:/v\nA:/v"), "indexing metadata") << "one of several lines";
  EXPECT_EQ(Hits("Cinquill:1:A:/v\n"), "indexing ");
  EXPECT_EQ(Hits("Cinquill 1 R /v\n"), "indexing ");
  for (const char* line : {"a:/v\n", "U:/v\n", "A:/v/film\n", "/v\n"}) {
    EXPECT_EQ(Hits(line), "metadata") << line;
  }
  // Without an end, with "u", with white space, with a wrong flag, operation or package.
  for (const char* line : {"A:/v", "u:/v\n", " A:/v\n", "A: /v\n", "A:/v \n", "Cinquill:2:A:/v\n",
                           "Cinquill:1:D:/v\n", "cinquill:1:A:/v\n"}) {
    EXPECT_EQ(Hits(line), "") << line;
  }
  EXPECT_EQ(Hits("/\n", "/"), "") << "a line of one character does not count";
  EXPECT_EQ(Hits("A:\n", ""), "indexing metadata") << "an empty path is a path";
  const std::string whole = "Cinquill:1:A:";
  EXPECT_EQ(Hits(whole + "/Cinquill\n", "/Cinquill"), "indexing ");
  EXPECT_EQ(Hits(whole + "\n", ""), "indexing ") << "an empty path is a path";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(Hits(whole.substr(0, length) + "\n", ""), "") << whole.substr(0, length);
  }
}

TEST(IndexQueue, HasTwoFilesOfEachForm) {
  for (const char* file : {kIndexingQueue, kIndexingQueueTmp, kMetadataQueue, kMetadataQueueTmp}) {
    SCOPED_TRACE(file);
    ResetRoot();
    WriteFile(file, "A:/v\n");
    StartJournal();
    EXPECT_TRUE(IsPathQueued("/v"));
    EXPECT_EQ(IsPathQueued("/"), std::string(file).find("metadata") != std::string::npos);
    EXPECT_EQ(Journal(), "") << "three missing files are no errors";
  }
}

TEST(IndexQueue, CountsAsEmptyWhenItCannotBeOpened) {
  // A socket: nobody can open it, while a file's mode stops no root.
  const int queue = socket(AF_UNIX, SOCK_STREAM, 0);
  std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(queue), kIndexingQueue);
  StartJournal();
  EXPECT_FALSE(IsInIndexingQueue(kIndexingQueue, "/v"));
  EXPECT_EQ(Journal(),
            "syslog error video_folders: failed to open index queue"
            "[/var/spool/tesk_indexing_queue]\n");
}

TEST(FolderConflict, IsRefusedAndLogged) {
  Json::Value folders = Parse(R"([{"path":7}, {}, 7, {"path":"/video/tv"}])");
  StartJournal();
  EXPECT_FALSE(AddFolderIfNoConflict(folders, Parse(R"({"share":"video","subpath":"tv/rec"})")));
  EXPECT_FALSE(AddFolderIfNoConflict(folders, Parse(R"({"share":"video"})")));
  EXPECT_EQ(Journal(),
            "syslog error video_folders: [/video/tv/rec] conflict with existing folder\n"
            "syslog error video_folders: [/video/] conflict with existing folder\n");
}

TEST(IndexingServices, ReturnTheResult) {
  EXPECT_TRUE(RunIndexTool("/srv/tv", kIndexAdd));
  EXPECT_FALSE(RunIndexTool("", kIndexRemove)) << "the tool refuses an empty path";
  StartJournal();
  EXPECT_EQ(SignalIndexDaemons(false), -1) << "no daemon runs";
  EXPECT_EQ(Journal(),
            "TLIBCProcSignalByPidFile /var/run/teskvideoindexd.pid 12\n"
            "TLIBCProcSignalByPidFile /var/run/teskvideometadatad.pid 12\n")
      << "the general daemon is left alone";
}

}  // namespace
}  // namespace Cinquill::Harness
