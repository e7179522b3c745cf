// The appliance's CGI framework: the request that started this process, and its answer.
#ifndef PLATFORM_WEBCGI_H_
#define PLATFORM_WEBCGI_H_

#include <json/value.h>

#include <memory>

namespace TESK {

// One object a process. Nothing else writes to the process's standard output. The data layout is
// the library's own: the private part below is the stand-in's, and the vendor's header replaces it
// where the vendor's library is linked.
class WebCGI {
 public:
  // Reads the request that started this process and its login session, and opens the system log:
  // the modules only call syslog(). What the two arguments mean is up to the framework; this
  // program always passes "" and true.
  //
  // The parameters are the fields "name=value" of the query and of a posted form. Of two fields of
  // one name the last counts, the body's over the query's. One "&" at the end begins no further
  // field. How large a body may be is up to the platform.
  //
  // A request that cannot be decoded is answered with "400 Bad Request" here and ends the process
  // with exit status 1; nothing has run. That is one with a bad escape, a field without "=", text
  // that is not UTF-8, a NUL, or a body that is no form, too large or shorter than stated.
  WebCGI(const char* session, bool check_session);

  // Releases the request.
  ~WebCGI();

  WebCGI(const WebCGI&) = delete;
  WebCGI& operator=(const WebCGI&) = delete;

  // More than 0 when the caller holds a valid login session; 0 or a negative value when not.
  // Refuse cross-site requests here; nothing later checks. Another site is any other origin: a page
  // of another host or port that had the caller's browser send the request. Whether Sec-Fetch-Site
  // or Origin decides, and whether another scheme counts, is up to the platform.
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
  // reported, and a client that is gone does not end the process.
  void WriteBody(Json::Value& body);

 private:
  struct Request;
  std::unique_ptr<Request> request_;
};

}  // namespace TESK

#endif  // PLATFORM_WEBCGI_H_
