// parse FILE [COPY]: parses a JSON file and, with a second argument, writes it again, as a program
// does that does nothing else.
#include <json/reader.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "video_folders/video_folders.h"

namespace {

std::string ReadFile(const char* path) {
  std::string text(std::filesystem::file_size(path), '\0');
  std::ifstream(path).read(text.data(), static_cast<std::streamsize>(text.size()));
  return text;
}

bool Parse(const std::string& text, Json::Value& value) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  Json::Value value;
  if (argc < 2 || !Parse(ReadFile(argv[1]), value)) {
    return 1;
  }
  return argc == 2 || Cinquill::WriteJsonFile(argv[2], value) ? 0 : 1;
}
