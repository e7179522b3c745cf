// What every request runs in: authorization, the handler's work, the answer.
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

// Base of the request handlers. Lets only administrators with a session through, runs the handler's
// Process() and writes the answer. The handler reports through SetData() and SetErrorInfo(). One
// object per process; nothing is thrown.
class BaseCGI : public TESK::WebCGI {
 public:
  BaseCGI();
  virtual ~BaseCGI() = default;

  // Serves the request: authorization, Process(), answer. Returns the result of Process(), which
  // alone decides: error information does not make a request fail. A caller who is no administrator
  // with a session gets the key "error_privilege_not_enough"; Process() is not called then, and the
  // result is false. Logs nothing.
  bool Run();

  // Lists one page of the people who may use the package: ordinary accounts that hold the
  // application privilege, as pairs of user id and name, in the order of the user database.
  // Administrators and users whose privileges or id cannot be read are neither listed nor counted.
  //   offset  index of the first user to return, counted over the users that match
  //   limit   how many to return at most; negative: all
  //   total   becomes the number of users that match, whatever offset and limit are
  // When the database cannot be opened or enumerated, or no list can be made, the result is empty,
  // a line is logged at LOG_ERR, and `total` stays as it was.
  static std::vector<std::pair<std::uint32_t, std::string>> ListAppUsers(int offset, int limit,
                                                                         int& total);

 protected:
  // Does the handler's work. True on success.
  virtual bool Process() = 0;

  // True for a caller with a valid session who is an administrator.
  bool IsAuthorized();

  // Sets the reason of a failure, {"sec": section, "key": key}; the page turns it into a sentence.
  // The last call counts. Sent only when the request fails.
  void SetErrorInfo(const char* section, const char* key);

  // Sets the payload of the answer (a copy). Sent only when the request succeeds.
  void SetData(const Json::Value& value);

 private:
  // Writes {"success": bool}, with "data" on success or "errinfo" on failure if it was set.
  void WriteResponse();

  bool success_;  // set on every path of Run() before it is read
  Json::Value errinfo_;
  Json::Value data_;
};

}  // namespace Cinquill::CGI

#endif  // BASE_CGI_BASE_CGI_H_
