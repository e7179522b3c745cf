// Stands in for the web-API utilities. What it decides by itself: only a regular file can be read;
// comments in it are skipped, and so is whatever follows its first document.
#include "platform/webapi_util.h"

#include <json/reader.h>

#include <memory>

#include "host/platform/core.h"

namespace TESK::WebAPIUtil {

bool ReadJsonFile(Json::Value& value, const char* path) {
  gsize size = 0;
  const Host::GCharPtr text = Host::ReadRegularFile(path, size);
  if (text == nullptr) {
    return false;
  }
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  try {
    if (!reader->parse(text.get(), text.get() + size, &parsed, nullptr)) {
      return false;
    }
  } catch (const Json::Exception&) {
    return false;  // values are nested too deep for the reader
  }
  value.swap(parsed);
  return true;
}

}  // namespace TESK::WebAPIUtil
