// parse FILE [COPY]: reads a JSON file and, with COPY, writes it there. Does nothing else.
#include "platform/webapi_util.h"
#include "video_folders/video_folders.h"

int main(int argc, char** argv) {
  Json::Value value;
  const bool read = argc > 1 && TESK::WebAPIUtil::ReadJsonFile(value, argv[1]);
  return read && (argc == 2 || Cinquill::WriteJsonFile(argv[2], value)) ? 0 : 1;
}
