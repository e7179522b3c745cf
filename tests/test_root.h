// The file tree that stands for the appliance's in tests, below the build folder.
#ifndef TESTS_TEST_ROOT_H_
#define TESTS_TEST_ROOT_H_

#include <string>

// Makes the root anew from the skeleton.
void ResetRoot();

// The content of a regular file; empty where there is none.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

#endif  // TESTS_TEST_ROOT_H_
