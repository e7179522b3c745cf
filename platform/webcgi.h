// The appliance's CGI framework: the request that started this process, and its answer.
#ifndef PLATFORM_WEBCGI_H_
#define PLATFORM_WEBCGI_H_

#include <json/value.h>

#include <memory>

namespace TESK {

// One object a process. It owns everything that it hands out until it is destroyed.
// The data layout is the library's own: the private part below is the stand-in's, and gives way to
// the vendor's header where the vendor's library is linked.
class WebCGI {
 public:
  // Prepares access to the current request and to its login session. Both arguments are the
  // framework's own affair; this program always passes "" and true. A request that cannot be
  // decoded is answered here with "400 Bad Request", and the process ends with exit status 1.
  WebCGI(const char* session, bool check_session);

  // Releases the request, and with it every string that In() returned.
  ~WebCGI();

  WebCGI(const WebCGI&) = delete;
  WebCGI& operator=(const WebCGI&) = delete;

  // More than 0 when the caller holds a valid login session; 0 or a negative value when not.
  int CheckAuthorized();

  // Non-zero when the signed-in user is an administrator. Asked only after CheckAuthorized().
  int IsAdmin() const;

  // The value of a request parameter, or `default_value` itself when the parameter is absent.
  // UTF-8, NUL-terminated, valid as long as this object.
  const char* In(const char* name, const char* default_value);

  // Sets the content type of the answer. Called once, before WriteBody().
  void WriteHeader(const char* content_type);

  // Writes the answer with `body`, serialised, as its content. Called once. Failures are not
  // reported: there is nobody left to tell.
  void WriteBody(Json::Value& body);

 private:
  struct Request;
  std::unique_ptr<Request> request_;
};

}  // namespace TESK

#endif  // PLATFORM_WEBCGI_H_
