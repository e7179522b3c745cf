// Stands in for the CGI framework behind any web server that speaks CGI. What it does not imitate:
// login sessions of its own (the web server signs users in), file uploads, and requests other than
// a query and a posted form. What it decides by itself:
// - The texts of In() last as long as the object.
// - The answer is one line of JSON, written at once and with its length: a client can tell a cut
//   answer from a whole one.
// - The sign-in (HTTP_AUTHORIZATION) is removed from the environment once the request is read.
// - Inherited descriptors above standard error are marked close-on-exec (from Linux 5.11 on): no
//   program that this one starts can keep the web server's lock.
// - Log lines go to standard error as well, where a web server puts them into its error log.
#include "platform/webcgi.h"

#include <glib.h>
#include <json/writer.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/platform/form.h"
#include "host/platform/glib_ptr.h"
#include "platform/tesk_user.h"

namespace TESK {
namespace {

using Host::Environment;

// Sends one whole answer. SIGPIPE would end the process when the client has closed the connection.
void Send(const std::string& headers, const std::string& body) {
  std::signal(SIGPIPE, SIG_IGN);
  const std::string answer =
      headers + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  // Speed: no stdio buffer. Allocating the buffer after a long list was freed makes the allocator
  // merge every free block.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::fwrite(answer.data(), 1, answer.size(), stdout);
}

[[noreturn]] void Refuse(const std::string& reason) {
  Send("Status: 400 Bad Request\r\nContent-Type: text/plain; charset=\"UTF-8\"", reason + "\n");
  std::exit(EXIT_FAILURE);
}

// Keeps the administrator's password from the scripts that this process runs: they get a copy of
// its environment, and can read the original in /proc.
void HideSignIn() {
  if (char* sign_in = std::getenv("HTTP_AUTHORIZATION")) {
    explicit_bzero(sign_in, std::strlen(sign_in));
    unsetenv("HTTP_AUTHORIZATION");
  }
}

// Host and port of a URL, such as "nas.local:8080"; the scheme's own port where the URL has none.
// Empty when there is no host.
std::string HostAndPort(const std::string& url) {
  char* text = nullptr;
  int port = -1;
  g_uri_split_network(url.c_str(), G_URI_FLAGS_SCHEME_NORMALIZE, nullptr, &text, &port, nullptr);
  const Host::GCharPtr host(text);
  if (host == nullptr || *host == '\0') {
    return "";
  }
  return Host::GCharPtr(g_ascii_strdown(text, -1)).get() + (":" + std::to_string(port));
}

// A page of another site can make a signed-in browser send requests here. A browser says where a
// request comes from; other clients do not.
bool IsSameOrigin() {
  const std::string site = Environment("HTTP_SEC_FETCH_SITE");
  if (!site.empty()) {
    return site == "same-origin" || site == "none";
  }
  const std::string origin = Environment("HTTP_ORIGIN");
  if (origin.empty()) {
    return true;
  }
  const std::string scheme = origin.substr(0, origin.find(':'));
  const std::string from = HostAndPort(origin);
  return !from.empty() && from == HostAndPort(scheme + "://" + Environment("HTTP_HOST"));
}

}  // namespace

struct WebCGI::Request {
  Host::Form form;
  std::string content_type;
};

WebCGI::WebCGI(const char* /*session*/, bool /*check_session*/)
    : request_(std::make_unique<Request>()) {
  close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  openlog("dtv_manage.cgi", LOG_PERROR | LOG_PID, LOG_USER);
  const std::string reason = Host::ReadForm(request_->form);
  if (!reason.empty()) {
    Refuse(reason);
  }
  HideSignIn();
}

WebCGI::~WebCGI() { closelog(); }

int WebCGI::CheckAuthorized() {
  return !Environment("REMOTE_USER").empty() && IsSameOrigin() ? 1 : 0;
}

int WebCGI::IsAdmin() const {
  return TESKGroupIsAdminGroupMem(Environment("REMOTE_USER").c_str()) == 1 ? 1 : 0;
}

const char* WebCGI::In(const char* name, const char* default_value) {
  const auto field = request_->form.find(name);
  return field == request_->form.end() ? default_value : field->second.c_str();
}

void WebCGI::WriteHeader(const char* content_type) { request_->content_type = content_type; }

void WebCGI::WriteBody(Json::Value& body) {
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  Send("Content-Type: " + request_->content_type, Json::writeString(compact, body) + "\n");
}

}  // namespace TESK
