// What every test uses.
#ifndef TESTS_TEST_H_
#define TESTS_TEST_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "platform/system_paths.h"
#include "platform/tesk_user.h"
#include "platform/tlibc.h"
#include "tests/harness.h"
#include "video_folders/video_folders.h"

namespace Harness {

using namespace Cinquill;
using namespace Cinquill::SystemPaths;
using namespace std::string_literals;

// The cases of one rule, a row each, in JSON.
inline Json::Value Rows(const std::string& rows) { return Parse("[" + rows + "]"); }

inline Json::Value Load() { return Serve(Post("action=load")).answer["data"]; }
inline Outcome Save(const std::string& form) { return Serve(Post("action=save&" + form)); }

}  // namespace Harness

#endif  // TESTS_TEST_H_
