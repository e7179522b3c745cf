// The appliance's web-API utilities.
#ifndef PLATFORM_WEBAPI_UTIL_H_
#define PLATFORM_WEBAPI_UTIL_H_

#include <json/value.h>

namespace TESK::WebAPIUtil {

// Reads the JSON file at `path`, whatever the type of its document, in place of `value`. True on
// success. False, with `value` untouched, when the file is missing, cannot be read or does not
// parse. A shortage of memory is none of these and ends the process: whoever is told that there is
// no folder list starts a new one.
bool ReadJsonFile(Json::Value& value, const char* path);

}  // namespace TESK::WebAPIUtil

#endif  // PLATFORM_WEBAPI_UTIL_H_
