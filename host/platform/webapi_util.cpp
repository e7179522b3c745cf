// Stands in for the web-API utilities. What it decides by itself: only a regular file can be read,
// and comments in it are ignored.
#include "platform/webapi_util.h"

#include <json/reader.h>

#include <memory>

#include "host/platform/core.h"

namespace TESK::WebAPIUtil {

bool ReadJsonFile(Json::Value& value, const char* path) {
  const Host::FileContent content = Host::ReadRegularFile(path);
  if (content.text == nullptr) {
    return false;
  }
  const char* text = content.text.get();
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;  // a comment beside the account would get into the answer
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  try {
    if (!reader->parse(text, text + content.size, &parsed, nullptr)) {
      return false;
    }
  } catch (const Json::Exception&) {
    return false;  // values are nested too deep for the reader
  }
  value.swap(parsed);
  return true;
}

}  // namespace TESK::WebAPIUtil
