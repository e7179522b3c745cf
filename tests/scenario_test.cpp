// Plays the scenarios of tests/scenarios: what is served, what load shows, what save stores.
//
// A scenario is a sentence and its steps:
//   [NAME=VALUE]... load|save|post [FORM] [-> OUTCOME]     a request, with more variables
//   FILE CONTENT                                           the file gets the content
//   FILE -> TARGET                                         the file becomes a link
// Below a request stand, indented, the lines that it logs, and files with the content that they
// have afterwards, or the named members of it as a JSON object. In the content of a file, \n stands
// for a line feed and DEEP for 10,000 opening brackets. In a form, NUL stands for a null character
// and LARGE for 16,380 letters. The outcomes:
//   load   the named members of the data, as JSON
//   save   none for a success, or "nothing written"
//   post   the whole answer
// A failure of load or save is the error key, or "failed". A request that is answered in another
// form has the text of Harness::Outcome. Only a save that is not refused may write.
#include <regex>
#include <sstream>

#include "tests/test.h"

namespace Cinquill::Harness {
namespace {

bool IsFile(const std::string& name) {
  return name[0] == '/' || std::filesystem::path(name).extension() == ".conf";
}

// A file by its path on the appliance, or a settings file by its name.
std::string Path(const std::string& name) {
  return InRoot(name[0] == '/' ? name : "/var/packages/Cinquill/etc/" + name);
}

std::string Replaced(const std::string& text, const char* what, const std::string& by) {
  return std::regex_replace(text, std::regex(what), by);
}

// The values of the members that a JSON object of expected values names.
std::string Shown(const Json::Value& data, const std::string& expected) {
  Json::Value shown(Json::objectValue);
  for (const std::string& name : Parse(expected).getMemberNames()) {
    shown[name] = data.get(name, "absent");
  }
  return Text(shown);
}

std::string OutcomeOf(const std::string& verb, const Outcome& outcome, const std::string& expected,
                      const std::set<std::string>& written) {
  const Json::Value& answer = outcome.answer;
  const bool may_write = verb == "save" && answer.isObject() && !answer.isMember("errinfo");
  if (!may_write && !written.empty()) {
    return "writes " + *written.begin();
  }
  if (verb == "post" || answer.isNull()) {
    return outcome.text;
  }
  if (answer["success"] == false) {
    return answer.isMember("errinfo") ? answer["errinfo"]["key"].asString() : "failed";
  }
  if (verb == "load") {
    return Shown(answer["data"], expected);
  }
  const bool has_signalled = outcome.journal.find("Signal") != std::string::npos;
  return written.empty() && !has_signalled ? "nothing written" : "";
}

// Serves the request of a step. Returns the step with its outcome, and the lines of the log.
std::string Served(const std::string& step, const std::string& expected) {
  std::istringstream words(step);
  std::vector<std::string> variables;
  std::string verb;
  while (words >> verb && verb.find('=') != std::string::npos) {
    variables.push_back(verb);
  }
  std::string form;
  std::getline(words >> std::ws, form);
  form = Replaced(Replaced(form, "LARGE", std::string(16380, 'x')), "NUL", std::string(1, '\0'));
  TakeWrites();
  const Outcome outcome = Serve((verb == "post" ? "" : "action=" + verb + "&") + form, variables);
  const std::string told = OutcomeOf(verb, outcome, expected, TakeWrites());
  std::string served = step + (told.empty() ? "" : " -> " + told) + "\n";
  for (const std::string& line : Lines(outcome.journal)) {
    served += line.rfind("syslog ", 0) == 0 ? "  " + line.substr(7) + "\n" : "";
  }
  return served;
}

void Prepare(const std::string& file, const std::string& content) {
  if (content.rfind("-> ", 0) == 0) {
    std::filesystem::remove(file);
    return std::filesystem::create_symlink(content.substr(3), file);
  }
  const std::string text = Replaced(content, "DEEP", std::string(10000, '['));
  WriteFile(file, Replaced(text, "\\\\n", "\n"));
}

// Takes a step. Returns the lines that should stand in its place.
std::string Played(const std::string& line) {
  std::string word;
  std::istringstream(line) >> word;
  if (line[0] == ' ') {
    const bool exists = std::filesystem::exists(Path(word));
    const std::string content = exists ? ReadFile(Path(word)) : "absent";
    const bool has_members = content[0] == '{' && line.find(" {") == word.size() + 2;
    const std::string told = has_members ? Shown(Parse(content), line.substr(word.size() + 3))
                                         : Replaced(content, "\n", "\\n");
    return IsFile(word) ? "  " + word + " " + told + "\n" : "";
  }
  if (IsFile(word)) {
    Prepare(Path(word), line.substr(word.size() + 1));
    return line + "\n";
  }
  const std::size_t arrow = line.find(" -> ");
  return Served(line.substr(0, arrow), arrow == std::string::npos ? "{}" : line.substr(arrow + 4));
}

void Play(const std::string& file) {
  std::string played;
  bool is_sentence = true;
  for (const std::string& line : Lines(ReadFile(TEXTS + file))) {
    played += is_sentence || line.empty() ? line + "\n" : Played(line);
    is_sentence = line.empty();
    if (is_sentence) {
      ResetRoot();
    }
  }
  ExpectFile(file, played);
}

TEST(Scenarios, OfRequests) { Play("scenarios/request.txt"); }
TEST(Scenarios, OfLoads) { Play("scenarios/load.txt"); }
TEST(Scenarios, OfSaves) { Play("scenarios/save.txt"); }
TEST(Scenarios, OfDestinations) { Play("scenarios/destination.txt"); }

}  // namespace
}  // namespace Cinquill::Harness
