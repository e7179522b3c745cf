// Any path, the first line of the input, asked of any queue file, the rest of it. The answers are
// compared with those of a reader who has the whole file and builds the lines that count.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "fuzz/harness.h"
#include "platform/tesk_index.h"
#include "video_folders/video_folders.h"

namespace {

std::vector<std::string> FinishedLines(std::string text) {
  std::vector<std::string> lines;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
    lines.push_back(text.substr(0, end));
    text.erase(0, end + 1);
  }
  return lines;
}

// The long form has one character, whatever it is, after each of its first three fields.
bool WaitsForIndexing(std::string line, const std::string& path) {
  if (line.size() == path.size() + 13) {
    line[8] = line[10] = line[12] = ':';
    return line == "Cinquill:1:A:" + path || line == "Cinquill:1:R:" + path;
  }
  return line == "A:" + path || line == "R:" + path;
}

bool WaitsForMetadata(std::string entry, const std::string& asked) {
  if (entry.size() < 2 || entry[0] == 'u') {
    return false;
  }
  if (entry[1] == ':') {
    entry.erase(0, 2);
  }
  return TESKIndexUtils::IsEqualOrSubPath(entry, asked);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::string path = input.substr(0, input.find('\n'));
  const std::string queue = input.substr(std::min(path.size() + 1, size));
  static const int file = memfd_create("queue", 0);
  static const std::string name = "/proc/self/fd/" + std::to_string(file);
  const bool written = ftruncate(file, 0) == 0 && pwrite(file, queue.data(), queue.size(), 0) ==
                                                      static_cast<ssize_t>(queue.size());
  Fuzz::Check(written, "the queue can be written");
  bool indexing = false;
  bool metadata = false;
  for (const std::string& line : FinishedLines(queue)) {
    indexing = indexing || WaitsForIndexing(line, path);
    metadata = metadata || WaitsForMetadata(line, path);
  }
  Fuzz::Check(Cinquill::IsInIndexingQueue(name, path) == indexing, "waiting for indexing");
  Fuzz::Check(Cinquill::IsInMetadataQueue(name, path) == metadata, "waiting for metadata");
  return 0;
}
