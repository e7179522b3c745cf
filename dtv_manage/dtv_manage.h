// The request handler of the digital-TV settings page.
#ifndef DTV_MANAGE_DTV_MANAGE_H_
#define DTV_MANAGE_DTV_MANAGE_H_

#include <json/value.h>

#include "base_cgi/base_cgi.h"

namespace Cinquill::CGI {

// Handles the actions "load" and "save", which the request parameter "action" names. docs/api.md
// has every parameter and every member of the answers.
//
// Each saver stores one group of settings, or does nothing if they are stored already. It returns
// whether it succeeded. Members of record.conf and stream.conf that are not settings are kept.
class DTVManage : public BaseCGI {
 protected:
  // Runs the action and returns its result. An unknown action fails without error information.
  bool Process() override;

 private:
  // Passes all settings to SetData(), with placeholders in place of the password. Always returns
  // true, also if files cannot be read. Each group's defaults depend on the other group's file: the
  // recording options show theirs if stream.conf cannot be read, the access settings if record.conf
  // cannot be read. This is on purpose.
  bool Load();

  // Runs the savers in this order: destination, recording options, streaming access, DTV switch.
  // Stops at the first saver that fails. What earlier savers have stored stays stored.
  bool SaveAll();

  // Replaces the recording destination by the share and the sub-path of the request. Does nothing
  // and succeeds if the request names no share or the stored destination.
  //
  // In this order: writes folder.conf, removes the old folder from the index, sets the index flag
  // of the new share, signals the daemons, adds the new folder to the index. Fails, with a line at
  // LOG_ERR, if the new folder overlaps another library folder (key "error_duplicate_path", nothing
  // is changed), if folder.conf cannot be written, or if the flag cannot be set. Nothing that was
  // done before a failure is undone. Failures of the indexing tool and of the signals are ignored.
  bool SaveRecordDestination();

  // Stores the recording options in record.conf. Fails, with a line at LOG_ERR, if the file cannot
  // be written.
  bool SaveRecordOptions();

  // Stores the access settings in stream.conf. An empty account keeps the stored one. The password
  // is stored as plain text; an empty one or a placeholder keeps the stored one. Fails, with a line
  // at LOG_ERR, if the file cannot be written.
  bool SaveStreamAccess();

  // Stores the switch, then stops or starts the DTV service to match. Fails, with a line at
  // LOG_ERR, if the switch cannot be stored, or if system() returns a negative value; the switch is
  // then stored already. The exit status of the control script is ignored.
  bool SaveDTVSwitch();

  // Returns the folder record of the request, or null if the request names no share:
  //   {"share", "subpath", "section", "section_name", "path"}, all strings.
  Json::Value BuildRecordFolder();

  // Runs the package's probe and returns whether its first line is "yes": two services want the
  // same tuner. Returns false, with a line at LOG_ERR, if the probe cannot be run or prints
  // nothing. The probe's exit status is ignored.
  static bool CheckDVBConflict();

  // Return the content of stream.conf and record.conf, or null if the file cannot be read or holds
  // no object. A process reads each file at most once; a saver does not change what they return.
  const Json::Value& GetStreamConfig();
  const Json::Value& GetRecordConfig();

  Json::Value stream_conf_;
  Json::Value record_conf_;
};

}  // namespace Cinquill::CGI

#endif  // DTV_MANAGE_DTV_MANAGE_H_
