// The appliance's CGI framework: the request that started this process, and its answer.
#ifndef PLATFORM_WEBCGI_H_
#define PLATFORM_WEBCGI_H_

#include <json/value.h>

#include <memory>

namespace TESK {

// There is one object per process. Nothing else writes to the standard output of the process. The
// private part below is that of the stand-in. Where the vendor's library is linked, the vendor's
// header replaces it.
class WebCGI {
 public:
  // Reads the request that started this process and its login session. Opens the system log,
  // because the modules only call syslog(). The meaning of the arguments is up to the framework;
  // callers always pass "" and true.
  //
  // The parameters are the fields "name=value" of the query and of a posted form. If the request
  // cannot be decoded, answers "400 Bad Request" and ends the process with exit status 1, before
  // anything else runs: a save of some of the parameters would store defaults for the others.
  //
  // Only the stand-in promises the rest. The last field of a name counts, and the body wins over
  // the query. One trailing "&" is ignored. A bad escape, a field without "=", text that is not
  // UTF-8, a NUL, and a body that is not a form, over 64 KiB or shorter than its stated length
  // cannot be decoded.
  WebCGI(const char* session, bool check_session);

  // Releases the request.
  ~WebCGI();

  WebCGI(const WebCGI&) = delete;
  WebCGI& operator=(const WebCGI&) = delete;

  // Returns more than 0 if the caller has a valid login session, and 0 or a negative value if not.
  // Must refuse cross-origin requests, which a page of another host or port makes the caller's
  // browser send; nothing later checks them. Whether Sec-Fetch-Site or Origin decides, and whether
  // another scheme is another origin, is up to the platform.
  int CheckAuthorized();

  // Returns non-zero if the signed-in user is an administrator, and 0 if not or if that cannot be
  // determined. Called only after CheckAuthorized() has returned more than 0.
  int IsAdmin() const;

  // Returns the decoded value of a request parameter, which may be empty, or `default_value` if the
  // request has no parameter of that name. The text is UTF-8 and NUL-terminated. This object owns
  // it and keeps it valid at least until its next call.
  const char* In(const char* name, const char* default_value);

  // Begins the answer, with its content type. Call once, before WriteBody().
  void WriteHeader(const char* content_type);

  // Writes `body` as the JSON content of the answer and ends the answer. Call once. Failures are
  // not reported. A client that has disconnected does not end the process.
  void WriteBody(Json::Value& body);

 private:
  struct Request;
  std::unique_ptr<Request> request_;
};

}  // namespace TESK

#endif  // PLATFORM_WEBCGI_H_
