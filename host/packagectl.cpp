// Shows who may use the package, and whether a path is still queued for the indexer.
#include <glib.h>
#include <syslog.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "base_cgi/base_cgi.h"
#include "host/platform/glib_ptr.h"
#include "video_folders/video_folders.h"

namespace {

constexpr int kBadArguments = 2;

int ShowUsers(int offset, int limit) {
  int total = -1;
  for (const auto& [uid, name] : Cinquill::CGI::BaseCGI::ListAppUsers(offset, limit, total)) {
    std::printf("%" PRIu32 "\t%s\n", uid, name.c_str());
  }
  if (total < 0) {
    return 1;  // the reason is in the log, which standard error shows, too
  }
  std::printf("total %d\n", total);
  return 0;
}

int ShowQueued(const char* path) {
  const bool queued = Cinquill::IsPathQueued(path);
  std::puts(queued ? "queued" : "not queued");
  return queued ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  openlog("packagectl", LOG_PERROR, LOG_USER);
  int offset = 0;
  int limit = -1;
  const GOptionEntry entries[] = {
      {"offset", 0, 0, G_OPTION_ARG_INT, &offset, "users: skip the first N", "N"},
      {"limit", 0, 0, G_OPTION_ARG_INT, &limit, "users: show N at most (negative: all)", "N"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const Host::GOptionContextPtr context(g_option_context_new("users | queued PATH"));
  g_option_context_set_summary(
      context.get(),
      "  users            list the people who may use the package\n"
      "  queued PATH      exit with 0 while the indexer has the path, else 1");
  g_option_context_add_main_entries(context.get(), entries, nullptr);
  GError* error = nullptr;
  const bool parsed = g_option_context_parse(context.get(), &argc, &argv, &error) != FALSE;
  if (parsed && argc == 2 && std::strcmp(argv[1], "users") == 0) {
    return ShowUsers(offset, limit);
  }
  if (parsed && argc == 3 && std::strcmp(argv[1], "queued") == 0) {
    return ShowQueued(argv[2]);
  }
  if (error != nullptr) {
    std::fprintf(stderr, "packagectl: %s\n", error->message);
    g_error_free(error);
  }
  std::fputs(Host::GCharPtr(g_option_context_get_help(context.get(), TRUE, nullptr)).get(), stderr);
  return kBadArguments;
}
