// Stands in for the web-API utilities.
#include "platform/webapi_util.h"

#include <json/reader.h>

#include <exception>
#include <memory>

#include "host/platform/glib_ptr.h"

namespace TESK::WebAPIUtil {

bool ReadJsonFile(Json::Value& value, const char* path) {
  char* content = nullptr;
  gsize size = 0;
  if (g_file_get_contents(path, &content, &size, nullptr) == FALSE) {
    return false;
  }
  const Host::GString text(content);
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  try {
    if (!reader->parse(content, content + size, &parsed, nullptr)) {
      return false;
    }
  } catch (const std::exception&) {
    return false;  // the reader throws where values are nested too deep for it
  }
  value.swap(parsed);
  return true;
}

}  // namespace TESK::WebAPIUtil
