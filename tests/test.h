// What every test uses. Each test begins with a root that is made anew.
#ifndef TESTS_TEST_H_
#define TESTS_TEST_H_

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/system_paths.h"
#include "platform/tlibc.h"
#include "tests/harness.h"
#include "video_folders/video_folders.h"

namespace Harness {

using namespace Cinquill;
using namespace Cinquill::SystemPaths;
using namespace std::string_literals;

class FreshRoot : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override { ResetRoot(); }
};
inline const bool kHasFreshRoot =
    (testing::UnitTest::GetInstance()->listeners().Append(new FreshRoot), true);

inline Json::Value Load() { return Serve(Post("action=load")).answer["data"]; }
inline Outcome Save(const std::string& form) { return Serve(Post("action=save&" + form)); }

}  // namespace Harness

#endif  // TESTS_TEST_H_
