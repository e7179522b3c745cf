// The appliance's web-API utilities.
#ifndef PLATFORM_WEBAPI_UTIL_H_
#define PLATFORM_WEBAPI_UTIL_H_

#include <json/value.h>

namespace TESK::WebAPIUtil {

// Replaces `value` by the JSON document, of any type, in the file at `path`. Whether the document
// may have comments is up to the platform; `value` must not keep them, because it may become part
// of the answer. Only the stand-in promises that text after the first document is ignored.
//
// Returns true on success. Returns false, and leaves `value` untouched, if the file is missing,
// cannot be read or does not parse. Out of memory ends the process. Returning false would make a
// large folder list look missing, and the next save would start a new one.
bool ReadJsonFile(Json::Value& value, const char* path);

}  // namespace TESK::WebAPIUtil

#endif  // PLATFORM_WEBAPI_UTIL_H_
