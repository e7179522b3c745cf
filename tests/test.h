// What every test uses. Each test begins with a fresh root.
#ifndef TESTS_TEST_H_
#define TESTS_TEST_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "platform/system_paths.h"
#include "platform/tlibc.h"
#include "tests/harness.h"
#include "video_folders/video_folders.h"

namespace Harness {

using namespace Cinquill;
using namespace Cinquill::SystemPaths;
using namespace std::string_literals;

// Compares a text with a file below tests/. Prints the lines that differ ("-" expected, "+" found)
// between their neighbours, and the beginning of their scenario's sentence.
void ExpectFile(const std::string& file, const std::string& found);

// What a sequence of calls has done: its journal, and its results by name.
struct Course {
  std::string journal;
  std::map<std::string, std::string> results;
};

// Runs `perform` once without a failure, then once for each call, with that call failing. Compares
// the result with a file of tests/journals. The file has a line for each call, in order. Below it
// stands what changes when the call fails: new calls, where the usual course goes on, and results
// that are new, changed or lost. The last line has the usual results.
void ExpectJournal(const std::string& file, const std::function<Course(int failing_call)>& perform);

}  // namespace Harness

#endif  // TESTS_TEST_H_
