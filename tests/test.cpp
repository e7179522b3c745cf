#include "tests/test.h"

#include <algorithm>
#include <cstdlib>

namespace Cinquill::Harness {
namespace {

// Compares two texts with diff.
std::string Difference(const std::string& options, const std::string& usual,
                       const std::string& found) {
  WriteFile(InRoot("/usual"), usual);
  WriteFile(InRoot("/found"), found);
  StartJournal();  // system() is wrapped, too, and must not fail here
  std::system(("cd " + InRoot("; diff ") + options + " usual found > difference 2>&1").c_str());
  return ReadFile(InRoot("/difference"));
}

// The calls that only the failed course makes, and where the usual course goes on. As many calls as
// possible, in their order, count as usual.
std::string CallChanges(const std::string& usual, const std::string& failed) {
  const std::string formats = "--unchanged-line-format='=%L' --old-line-format='-%L' ";
  std::string changes;
  char last = '=';
  for (const std::string& line :
       Lines(Difference("--minimal --new-line-format='+%L' " + formats, usual, failed))) {
    if (line[0] == '+' || (line[0] == '=' && last != '=')) {
      changes += (line[0] == '+' ? "; " : "; goes on with ") + line.substr(1);
    }
    last = line[0];
  }
  return changes + (last == '=' ? "" : "; ends");
}

std::string ResultChanges(const Course& usual, const Course& failed) {
  std::string changes;
  std::string lost;
  bool keeps_any = false;
  for (const auto& result : failed.results) {
    const bool is_kept = std::count(usual.results.begin(), usual.results.end(), result) > 0;
    keeps_any |= is_kept;
    changes += is_kept ? "" : "; " + result.first + " " + result.second;
  }
  for (const auto& [name, value] : usual.results) {
    lost += failed.results.count(name) == 0 ? "; no " + name : "";
  }
  return changes + (keeps_any || lost.empty() ? lost : "; no other result");
}

class FreshRoot : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override { ResetRoot(); }
};

}  // namespace

void ExpectFile(const std::string& file, const std::string& found) {
  const std::string label = " --label tests/" + file;
  const std::string difference =
      Difference("-U1 -F '^[A-Z][a-z]* [a-z]'" + label + label, ReadFile(TEXTS + file), found);
  if (!difference.empty()) {
    ADD_FAILURE() << difference;
  }
}

void ExpectJournal(const std::string& file,
                   const std::function<Course(int failing_call)>& perform) {
  const Course usual = perform(-1);
  std::string found;
  int index = 0;
  for (const std::string& call : Lines(usual.journal)) {
    const Course failed = perform(index++);
    const std::string changes =
        CallChanges(usual.journal, failed.journal) + ResultChanges(usual, failed);
    found += call + "\n" + (changes.empty() ? "" : "  fails: " + changes.substr(2) + "\n");
  }
  found += "results: " + ResultChanges({}, usual).substr(2) + "\n";
  ExpectFile("journals/" + file, found);
}

}  // namespace Cinquill::Harness

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new Cinquill::Harness::FreshRoot);
  return RUN_ALL_TESTS();
}
