// The appliance's web-API utilities.
#ifndef PLATFORM_WEBAPI_UTIL_H_
#define PLATFORM_WEBAPI_UTIL_H_

#include <json/value.h>

namespace TESK::WebAPIUtil {

// Replaces `value` by the JSON document of the file at `path`, of whatever type it is. What follows
// the first document does not count. Whether comments may stand in it is up to the platform;
// they are no part of `value`, which may go into the answer.
//
// True on success. False, with `value` untouched, when the file is missing, cannot be read or does
// not parse. A shortage of memory is none of these and ends the process: otherwise a folder list
// that is too large would count as missing, and the next save would start a new one.
bool ReadJsonFile(Json::Value& value, const char* path);

}  // namespace TESK::WebAPIUtil

#endif  // PLATFORM_WEBAPI_UTIL_H_
