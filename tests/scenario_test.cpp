// Plays scenarios of requests: what is served, what "load" shows, what "save" stores and what it
// leaves alone.
#include <algorithm>
#include <iterator>
#include <regex>
#include <sstream>

#include "tests/test.h"

namespace Harness {

// The path of a file that a scenario names: by its path on the appliance, or as a settings file.
std::string Path(const std::string& name) {
  return kRoot + (name[0] == '/' ? name : "/var/packages/Cinquill/etc/" + name);
}

using Variables = std::vector<std::string>;

Variables Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// What load shows of the named members, as in "pre_recording 180".
std::string Shown(const Json::Value& data, const std::string& members) {
  std::string shown;
  for (const std::string& member : Words(members)) {
    shown += member + (data.isMember(member) ? " " + Text(data[member]) : " is not shown") + "\n";
  }
  return shown;
}

std::string Replaced(const std::string& text, const char* what, const std::string& by) {
  return std::regex_replace(text, std::regex(what), by);
}

// Takes one step of a scenario and gives what comes of it, in lines:
//   load MEMBER...      what is shown of these members, and the log
//   save FORM           the answer, the log, and whether nothing was written
//   post FORM           the exit status, the whole output, and whether nothing was called
//   show FILE           the content of the file
//   with VARIABLE...    nothing: these are in the environment of the following requests, in place
//                       of those that were named before
//   link FILE TARGET    nothing: the file becomes a link
//   FILE CONTENT        nothing: the file gets the content
// In a step \n stands for a line feed, NUL for a null character, and LARGE for 16,380 letters.
std::string Step(const std::string& line, Variables& variables) {
  const std::string verb = line.substr(0, line.find(' '));
  const std::string escaped = line.substr(std::min(line.size(), verb.size() + 1));
  const std::string letters = Replaced(escaped, "LARGE", std::string(16380, 'x'));
  const std::string rest = Replaced(Replaced(letters, "\\\\n", "\n"), "NUL", "\0"s);
  const bool is_action = verb == "load" || verb == "save";
  if (is_action || verb == "post") {
    const std::string form = verb == "load" ? "" : rest;
    Request request = Post(is_action ? "action=" + verb + "&" + form : form);
    request.environment.insert(request.environment.end(), variables.begin(), variables.end());
    TakeWrites();
    const Outcome outcome = Serve(request);
    if (verb == "post") {
      return "exit status " + std::to_string(outcome.status) + "\n" +
             Replaced(outcome.output, "\r", "") + (outcome.journal.empty() ? "no calls\n" : "");
    }
    const std::string what =
        verb == "load" ? Shown(outcome.answer["data"], rest) : Text(outcome.answer) + "\n";
    return what + Logged(outcome.journal) +
           (verb == "save" && !TakeWrites() ? "nothing is written\n" : "");
  }
  if (verb == "with") {
    variables = Words(rest);
  } else if (verb == "link") {
    const Variables words = Words(rest);
    std::filesystem::remove(Path(words.at(0)));
    std::filesystem::create_symlink(words.at(1), Path(words.at(0)));
  } else if (verb != "show") {
    WriteFile(Path(verb), rest);
  }
  return verb == "show" ? ReadFile(Path(rest)) : "";
}

// Plays the scenarios of a file, which are separated by empty lines. A scenario is a sentence, then
// the steps, and below each step, indented, what has to come of it.
void Play(const std::string& file) {
  const std::string text = ReadFile(TEXTS "scenarios/" + file);
  EXPECT_NE(text, "") << file;
  for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1) {
    end = std::min(text.find("\n\n", begin), text.size() - 1) + 1;
    const std::string expected = text.substr(begin, end - begin);
    ResetRoot();
    std::string played;
    Variables variables;
    for (const std::string& line : Lines(expected)) {
      if (line[0] != ' ') {
        played += line + "\n" + (played.empty() ? "" : Missing(Step(line, variables), "", "  "));
      }
    }
    EXPECT_EQ(expected, played);
  }
}

TEST(Request, IsDecodedAndServedOrRefused) { Play("request.txt"); }
TEST(Load, ShowsWhatIsStored) { Play("load.txt"); }
TEST(Save, StoresWhatIsSent) { Play("save.txt"); }
TEST(Destination, IsReplacedUnlessItOverlaps) { Play("destination.txt"); }

}  // namespace Harness
