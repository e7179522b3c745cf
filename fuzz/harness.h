// What the harnesses share: the program's request handler, request after request in one process,
// on the files below the build's root and without starting any other program.
#ifndef FUZZ_HARNESS_H_
#define FUZZ_HARNESS_H_

#include <json/value.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace Fuzz {

// What the probe of the tuners prints.
extern std::string probe_output;

// Ends the run with the input as a finding, unless it holds.
inline void Check(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "ERROR: does not hold: %s\n", what);
    std::abort();
  }
}

// The parts of an input, which are separated by lines "--"; missing ones are empty.
std::vector<std::string> Split(const std::uint8_t* data, std::size_t size, std::size_t count);

// Sets folder.conf, record.conf, stream.conf and dtv_setting.conf, in this order; an empty content
// stands for no file.
void SetFiles(const std::vector<std::string>& contents);

// Puts a request where a web server does: in the environment and on standard input.
void Prepare(std::vector<std::string> variables, const std::string& body);

// Serves the prepared request, which must be well-formed, and checks the form of the answer.
Json::Value Serve();

// Whether a file was written since Settle(), be it with what it held, or a program started other
// than the probe.
void Settle();
bool HasEffect();

}  // namespace Fuzz

#endif  // FUZZ_HARNESS_H_
