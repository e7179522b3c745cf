// Any query, body and headers against the whole program. The parts of an input: query, body,
// content type, content length (of the two, an empty one stands for the right one), origin, host.
#include <glib.h>

#include "fuzz/harness.h"
#include "host/platform/form.h"
#include "host/platform/glib_ptr.h"

namespace {

using Fuzz::Check;

constexpr char kLibraries[] =
    R"([{"share": "video", "subpath": "movies", "section": "movie", "path": "/video/movies"}])";

void PrepareParts(const std::vector<std::string>& parts) {
  const std::string type = parts[2].empty() ? "application/x-www-form-urlencoded" : parts[2];
  const std::string length = parts[3].empty() ? std::to_string(parts[1].size()) : parts[3];
  Fuzz::Prepare({"REQUEST_METHOD=POST", "QUERY_STRING=" + parts[0], "CONTENT_TYPE=" + type,
                 "CONTENT_LENGTH=" + length, "HTTP_ORIGIN=" + parts[4], "HTTP_HOST=" + parts[5]},
                parts[1]);
}

std::string Escape(const std::string& text) {
  return Host::GCharPtr(g_uri_escape_string(text.c_str(), nullptr, FALSE)).get();
}

void CheckRoundTrip(const Host::Form& form) {
  std::string encoded;
  for (const auto& [name, value] : form) {
    encoded += (encoded.empty() ? "" : "&") + Escape(name) + "=" + Escape(value);
  }
  Host::Form again;
  Check(Host::DecodeForm(encoded, again) && again == form, "a form survives encoding");
}

void CheckAnswer(const Json::Value& answer, const std::string& action, bool has_origin) {
  const bool refused = answer["errinfo"]["key"] == "error_privilege_not_enough";
  Check(has_origin || !refused, "the administrator is let in");
  Check((action == "save" && !refused) || !Fuzz::HasEffect(), "only a save has an effect");
  Check(refused || action == "save" || answer["success"].asBool() == (action == "load"),
        "a load succeeds and the unknown fails");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string> parts = Fuzz::Split(data, size, 6);
  Fuzz::SetFiles({kLibraries, "", "", ""});
  Fuzz::Settle();
  PrepareParts(parts);
  Host::Form form;
  const std::string reason = Host::ReadForm(form);
  if (!reason.empty()) {  // the handler's construction would end the process with this answer
    Check(reason.find('\n') == std::string::npos, "the reason of a refusal is one line");
    return 0;
  }
  CheckRoundTrip(form);
  CheckAnswer(Fuzz::Serve(), form["action"], !parts[4].empty());
  Fuzz::Prepare({"QUERY_STRING=action=load"}, "");
  Check(Fuzz::Serve()["success"].asBool(), "what was stored can be loaded");
  return 0;
}
