// What all tests need: the file tree that stands for the appliance's, and JSON.
#ifndef TESTS_TEST_ROOT_H_
#define TESTS_TEST_ROOT_H_

#include <json/value.h>

#include <string>

// Makes the root anew from the skeleton.
void ResetRoot();

// The content of a regular file; empty where there is none.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// The value of a JSON text; throws on any other.
Json::Value Parse(const std::string& text);

#endif  // TESTS_TEST_ROOT_H_
