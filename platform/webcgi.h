// The appliance's CGI framework: the request that started this process, and its answer.
#ifndef PLATFORM_WEBCGI_H_
#define PLATFORM_WEBCGI_H_

#include <json/value.h>

#include <memory>

namespace TESK {

// One object a process. It alone writes to the process's standard output. The data layout is the
// library's own: the private part below is the stand-in's, and gives way to the vendor's header
// where the vendor's library is linked.
class WebCGI {
 public:
  // Gives access to the request that started this process and to its login session. Both arguments
  // are the framework's own affair; this program always passes "" and true.
  WebCGI(const char* session, bool check_session);

  // Releases the request.
  ~WebCGI();

  WebCGI(const WebCGI&) = delete;
  WebCGI& operator=(const WebCGI&) = delete;

  // More than 0 when the caller holds a valid login session; 0 or a negative value when not. A
  // request that a page of another site had the caller's browser send is refused here or nowhere.
  int CheckAuthorized();

  // Non-zero when the signed-in user is an administrator, 0 when not and when that cannot be told.
  // Asked only after CheckAuthorized() was more than 0.
  int IsAdmin() const;

  // The decoded value of a request parameter, which may be empty, or `default_value` when the
  // request has no parameter of that name. UTF-8, NUL-terminated. The text stays this object's and
  // is valid at least until the object's next call.
  const char* In(const char* name, const char* default_value);

  // Begins the answer, with its content type. Called once, before WriteBody().
  void WriteHeader(const char* content_type);

  // Ends the answer, with `body` as a JSON document for its content. Called once. Failures are not
  // reported: there is nobody left to tell.
  void WriteBody(Json::Value& body);

 private:
  struct Request;
  std::unique_ptr<Request> request_;
};

}  // namespace TESK

#endif  // PLATFORM_WEBCGI_H_
