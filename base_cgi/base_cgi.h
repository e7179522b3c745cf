// The frame that every request runs in.
#ifndef BASE_CGI_BASE_CGI_H_
#define BASE_CGI_BASE_CGI_H_

#include <json/value.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/webcgi.h"

namespace Cinquill::CGI {

// The section of all error information of this program.
inline constexpr char kErrorSection[] = "error";

// Base of the request handlers: it lets only authenticated administrators through, has the handler
// do its work, and writes the one answer. A handler reports through SetData() and SetErrorInfo().
// One object a process; nothing is thrown.
class BaseCGI : public TESK::WebCGI {
 public:
  BaseCGI();
  virtual ~BaseCGI() = default;

  // Serves the request: authorization, Process(), answer. Returns whether the request succeeded,
  // which is what Process() said: error information set on the way does not make a request fail.
  // A caller who is no authenticated administrator is answered with the key
  // "error_privilege_not_enough", and Process() is not called. Logs nothing.
  bool Run();

  // One page of the people who may use the package: ordinary accounts that hold the application
  // privilege, as pairs of user id and name, in the order of the user database. Administrators are
  // neither listed nor counted, and a user without privileges or without an id is skipped silently.
  //   offset  index of the first user to return, counted over the users that match
  //   limit   how many to return at most; negative: all
  //   total   becomes the number of users that match, whatever offset and limit are
  // A failure of the database, the list or the enumeration gives an empty result, one line at
  // LOG_ERR, and leaves `total` as it was.
  static std::vector<std::pair<std::uint32_t, std::string>> ListAppUsers(int offset, int limit,
                                                                         int& total);

 protected:
  // The handler's work. True: the request succeeded.
  virtual bool Process() = 0;

  // True for a caller with a valid session who is an administrator.
  bool IsAuthorized();

  // Sets the reason of a failure, {"sec": section, "key": key}; the page turns it into a sentence.
  // The last call wins. It reaches the client only when the request fails.
  void SetErrorInfo(const char* section, const char* key);

  // Sets the payload of the answer (a copy). It reaches the client only when the request succeeds.
  void SetData(const Json::Value& value);

 private:
  // Writes {"success": bool} with "data" on success or "errinfo" on failure, where there is any.
  void WriteResponse();

  bool success_;  // set on every path of Run() before it is read
  Json::Value errinfo_;
  Json::Value data_;
};

}  // namespace Cinquill::CGI

#endif  // BASE_CGI_BASE_CGI_H_
