#include "host/platform/form.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "host/platform/glib_ptr.h"

namespace Host {
namespace {

constexpr guint64 kMaxBody = 65536;
constexpr std::string_view kFormType = "application/x-www-form-urlencoded";

// Whether a content type is that of a form, with or without parameters.
bool IsFormType(std::string_view type) {
  return type.size() >= kFormType.size() &&
         g_ascii_strncasecmp(type.data(), kFormType.data(), kFormType.size()) == 0 &&
         (type.size() == kFormType.size() ||
          std::string_view("; \t").find(type[kFormType.size()]) != std::string_view::npos);
}

// Reads exactly `size` bytes of standard input. What follows them is not part of the body.
bool ReadBody(std::size_t size, std::string& body) {
  body.resize(size);
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t count = read(STDIN_FILENO, body.data() + filled, size - filled);
    if (count == 0 || (count < 0 && errno != EINTR)) {
      return false;
    }
    filled += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  return true;
}

std::string ReadPostedForm(Form& form) {
  const std::string length_text = Environment("CONTENT_LENGTH");
  const std::string type = Environment("CONTENT_TYPE");
  guint64 length = 0;
  if (!length_text.empty() && g_ascii_string_to_unsigned(length_text.c_str(), 10, 0, G_MAXUINT64,
                                                         &length, nullptr) == FALSE) {
    return "the length of the body is not a number";
  }
  if (length > kMaxBody) {
    return "the body is larger than 64 KiB";
  }
  if (length == 0 && type.empty()) {
    return "";
  }
  if (!IsFormType(type)) {
    return "the content type is not application/x-www-form-urlencoded";
  }
  std::string body;
  if (!ReadBody(length, body)) {
    return "the body is shorter than its stated length";
  }
  return DecodeForm(body, form) ? "" : "the body is not a well-formed form";
}

}  // namespace

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

bool DecodeForm(std::string_view encoded, Form& form) {
  const GHashTablePtr fields(g_uri_parse_params(encoded.data(), static_cast<gssize>(encoded.size()),
                                                "&", G_URI_PARAMS_WWW_FORM, nullptr));
  if (fields == nullptr) {
    return false;
  }
  GHashTableIter iterator;
  gpointer name = nullptr;
  gpointer value = nullptr;
  g_hash_table_iter_init(&iterator, fields.get());
  while (g_hash_table_iter_next(&iterator, &name, &value) != FALSE) {
    form[static_cast<const char*>(name)] = static_cast<const char*>(value);
  }
  return true;
}

std::string ReadForm(Form& form) {
  if (!DecodeForm(Environment("QUERY_STRING"), form)) {
    return "the query is not a well-formed form";
  }
  return Environment("REQUEST_METHOD") == "POST" ? ReadPostedForm(form) : "";
}

}  // namespace Host
