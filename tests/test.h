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

namespace Cinquill::Harness {

// Compares a text with a file below tests/. The message of the failure is the difference, with the
// sentence of its scenario. `patch -p0 < LOG`, run in the folder of this repository, makes the file
// agree. LOG has the output of ./test, of ctest --output-on-failure or of the test program.
void ExpectFile(const std::string& file, const std::string& found);

// What a sequence of calls has done: its journal, and its results by name.
struct Course {
  std::string journal;
  std::map<std::string, std::string> results;
};

// Runs `perform` once without a failure, then once for each call, with that call failing. Compares
// the result with a file of tests/journals. The file has a line for each call, in order. Below it
// stands what changes when the call fails: new calls, the usual call that comes next, and results
// that are new, changed or lost. The last line has the usual results.
void ExpectJournal(const std::string& file, const std::function<Course(int failing_call)>& perform);

}  // namespace Cinquill::Harness

#endif  // TESTS_TEST_H_
