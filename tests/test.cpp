#include "tests/test.h"

#include <algorithm>
#include <cstdlib>

namespace Harness {
namespace {

// What the failure of the call at an index changes, in words.
std::string Changes(const Course& usual, const Course& failed, std::ptrdiff_t index) {
  const std::vector<std::string> calls = Lines(usual.journal);
  const std::vector<std::string> made = Lines(failed.journal);
  const auto after = calls.begin() + index + 1;
  // Both courses end with the same calls, from here on.
  const auto [new_end, usual_end] = std::mismatch(made.rbegin(), made.rend() - index - 1,
                                                  calls.rbegin(), calls.rend() - index - 1);
  std::string changes;
  std::for_each(made.begin() + index + 1, new_end.base(),
                [&](const std::string& call) { changes += "; " + call; });
  if (usual_end.base() == calls.end() && after != calls.end()) {
    changes += "; ends";
  } else if (usual_end.base() != after) {
    changes += "; skips " + std::to_string(usual_end.base() - after) + ", goes on with " +
               *usual_end.base();
  }
  for (const auto& [name, value] : failed.results) {
    const auto same = usual.results.find(name);
    changes +=
        same != usual.results.end() && same->second == value ? "" : "; " + name + " " + value;
  }
  for (const auto& [name, value] : usual.results) {
    changes += failed.results.count(name) == 0 ? "; no " + name : "";
  }
  return changes;
}

class FreshRoot : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override { ResetRoot(); }
};

}  // namespace

void ExpectFile(const std::string& file, const std::string& found) {
  const std::string path = kRoot + "/found"s;
  WriteFile(path, found);
  const std::string command = "diff -U1 -F '^[A-Z][a-z]* [a-z]' " TEXTS + file + " " + path;
  EXPECT_EQ(std::system(command.c_str()), 0) << file;
}

void ExpectJournal(const std::string& file,
                   const std::function<Course(int failing_call)>& perform) {
  const Course usual = perform(-1);
  std::string found;
  int index = 0;
  for (const std::string& call : Lines(usual.journal)) {
    const std::string changes = Changes(usual, perform(index), index);
    found += call + "\n" + (changes.empty() ? "" : "  fails: " + changes.substr(2) + "\n");
    ++index;
  }
  std::string results;
  for (const auto& [name, value] : usual.results) {
    results += "; " + name + " " + value;
  }
  found += "results: " + results.substr(2) + "\n";
  ExpectFile("journals/" + file, found);
}

}  // namespace Harness

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new Harness::FreshRoot);
  return RUN_ALL_TESTS();
}
