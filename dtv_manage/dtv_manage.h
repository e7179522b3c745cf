// The request handler of the digital-TV settings page.
#ifndef DTV_MANAGE_DTV_MANAGE_H_
#define DTV_MANAGE_DTV_MANAGE_H_

#include <json/value.h>

#include "base_cgi/base_cgi.h"

namespace Cinquill::CGI {

// Two actions, chosen by the request parameter "action": "load" and "save". docs/api.md has every
// parameter and every member of the answers.
//
// The savers share one pattern: read the request, copy the stored document, set the members that
// they own, and write only when the copy differs. Each returns true when its settings are stored,
// or were already. Only the destination save sets error information.
class DTVManage : public BaseCGI {
 protected:
  // Runs the action. Any other text fails, without error information.
  bool Process() override;

 private:
  // Hands all settings to SetData(), with placeholders in place of the password. Always true, also
  // when files cannot be read. Deliberate: a group of settings shows its defaults only if the
  // *other* group's file cannot be read.
  bool Load();

  // Runs the savers in this order: destination, recording options, streaming access, DTV switch.
  // Stops at the first that fails; what was stored before stays stored.
  bool SaveAll();

  // Replaces the recording destination by the share and the sub-path of the request. Succeeds
  // without any effect when the request names no share, or the destination that is stored already.
  //
  // Order: folder.conf is written; the old folder leaves the index; the new share's index flag is
  // set; the daemons are signalled; the new folder enters the index. Nothing done before a failure
  // is undone. Fails, with a line at LOG_ERR, when the new folder overlaps another library folder
  // (key "error_duplicate_path", nothing has changed), when folder.conf cannot be written, or when
  // the share's flag cannot be set. Failures of the indexing tool and of the signals are ignored.
  bool SaveRecordDestination();

  // Stores closestreaming, pre_recording and post_recording in record.conf. Fails, with a line at
  // LOG_ERR, when the file cannot be written.
  bool SaveRecordOptions();

  // Stores the access settings in stream.conf. Keeps the stored account when the request's is
  // empty, and the stored password unless a new one was entered, which is stored as plain text.
  // Fails, with a line at LOG_ERR, when the file cannot be written.
  bool SaveStreamAccess();

  // Stores the switch and stops or starts the DTV service to match. Fails, with a line at LOG_ERR,
  // when the switch cannot be stored, or when the script's command cannot be started (the switch is
  // stored then). A script that fails is ignored.
  bool SaveDTVSwitch();

  // Builds the folder record from the request, null when its share is empty:
  //   {"share", "subpath", "section", "section_name", "path"}, all strings.
  Json::Value BuildRecordFolder();

  // True when the first line of the package's probe is "yes": two services want the same tuner.
  // False, with a line at LOG_ERR, when the probe cannot be run or prints nothing. Its exit status
  // is ignored.
  static bool CheckDVBConflict();

  // stream.conf and record.conf, read at most once in a process; null when the file cannot be read
  // or holds no object. A saver's write does not change them.
  const Json::Value& GetStreamConfig();
  const Json::Value& GetRecordConfig();

  Json::Value stream_conf_;
  Json::Value record_conf_;
};

}  // namespace Cinquill::CGI

#endif  // DTV_MANAGE_DTV_MANAGE_H_
