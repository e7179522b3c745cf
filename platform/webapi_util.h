// The appliance's web-API utilities.
#ifndef PLATFORM_WEBAPI_UTIL_H_
#define PLATFORM_WEBAPI_UTIL_H_

#include <json/value.h>

namespace TESK::WebAPIUtil {

// Parses the JSON file at `path` into `value`. True on success. False, with `value` untouched, when
// the file is missing, cannot be read or does not parse. Logs nothing, throws nothing.
bool ReadJsonFile(Json::Value& value, const char* path);

}  // namespace TESK::WebAPIUtil

#endif  // PLATFORM_WEBAPI_UTIL_H_
