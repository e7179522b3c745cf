// The base of request handlers: checks the caller, runs Process(), writes the answer.
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

// Base of the request handlers. Calls the handler's Process() only for an administrator with a
// valid session. Process() reports through SetData() and SetErrorInfo(). Make one object per
// process. Nothing is thrown.
class BaseCGI : public TESK::WebCGI {
 public:
  BaseCGI();
  virtual ~BaseCGI() = default;

  // Serves the request: checks the caller, calls Process(), writes the answer. Returns the result
  // of Process(); error information alone does not make a request fail. Any caller but an
  // administrator with a valid session gets the key "error_privilege_not_enough"; Process() is not
  // called, nothing is logged, and the result is false.
  bool Run();

  // Returns one page of the users who may use the package, as pairs of user id and name, in the
  // order of the user database. A user matches who is an ordinary account, is not an administrator
  // and holds the application privilege. A user whose privileges or id cannot be read does not
  // match. If the administrators' group cannot be read, an administrator counts as any other user.
  //   offset  index of the first user to return, counted over the users that match
  //   limit   maximum number of users to return; negative: no maximum
  //   total   is set to the number of users that match, whatever offset and limit are
  // If the database cannot be opened or enumerated, or no list can be allocated, the result is
  // empty, a line is logged at LOG_ERR, and `total` is unchanged.
  static std::vector<std::pair<std::uint32_t, std::string>> ListAppUsers(int offset, int limit,
                                                                         int& total);

 protected:
  // Does the handler's work. Returns whether it succeeded.
  virtual bool Process() = 0;

  // Returns whether the caller has a valid session and is an administrator.
  bool IsAuthorized();

  // Sets the error information, {"sec": section, "key": key}, which the page turns into a sentence.
  // The last call counts. It is sent only if the request fails.
  void SetErrorInfo(const char* section, const char* key);

  // Sets the payload of the answer to a copy of `value`. It is sent only if the request succeeds.
  void SetData(const Json::Value& value);

 private:
  // Writes {"success": bool}, with "data" on success or "errinfo" on failure, if that was set.
  void WriteResponse();

  bool success_;  // Run() sets it before anything reads it
  Json::Value errinfo_;
  Json::Value data_;
};

}  // namespace Cinquill::CGI

#endif  // BASE_CGI_BASE_CGI_H_
