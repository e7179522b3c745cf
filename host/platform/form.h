// The form fields of a request's query and body.
#ifndef HOST_PLATFORM_FORM_H_
#define HOST_PLATFORM_FORM_H_

#include <map>
#include <string>
#include <string_view>

namespace Host {

// A variable of the environment; empty when it is not set.
std::string Environment(const char* name);

using Form = std::map<std::string, std::string>;

// Adds the fields of an encoded form ("a=1&b=x%20y+z") to `form`; a later field replaces an earlier
// one of its name. False on a bad escape, a field without "=", text that is not UTF-8, or a NUL.
bool DecodeForm(std::string_view encoded, Form& form);

// Collects the fields of the CGI request in this process's environment and standard input; those of
// the body win over those of the query. Returns the empty string, or why the request is malformed.
std::string ReadForm(Form& form);

}  // namespace Host

#endif  // HOST_PLATFORM_FORM_H_
