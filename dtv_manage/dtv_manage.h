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
  // Runs the action; any other action, in any other spelling, fails without a reason.
  bool Process() override;

 private:
  // Hands all settings to SetData(). Always true: what cannot be read shows its default. The stored
  // password stays in its file; placeholders take its place.
  bool Load();

  // Runs the savers in a fixed order - destination, recording options, streaming access, DTV switch
  // - up to the first that fails. What was stored before a failure stays stored.
  bool SaveAll();

  // Replaces the recording destination by the share and the sub-path of the request. No share in
  // the request, or the stored destination, is success without any effect.
  //
  // Order: folder.conf is written; the old folder leaves the index; the new share's index flag is
  // set; the daemons are signalled; the new folder enters the index. Nothing done before a failure
  // is undone. Fails, with a line at LOG_ERR, when the new folder overlaps another library folder
  // (key "error_duplicate_path", nothing has changed), when folder.conf cannot be written, or when
  // the share's flag cannot be set. Failures of the indexing tool and of the signals do not matter.
  bool SaveRecordDestination();

  // Stores closestreaming, pre_recording and post_recording in record.conf. A failed write is
  // logged at LOG_ERR.
  bool SaveRecordOptions();

  // Stores the access settings in stream.conf: an empty account and a password that was not entered
  // anew keep what is stored. The password is stored as it is. A failed write is logged at LOG_ERR.
  bool SaveStreamAccess();

  // Stores the switch and stops or starts the DTV service to match. Fails, with a line at LOG_ERR,
  // when the switch cannot be stored, or when the control script cannot be run (the switch is
  // stored then). The script's own failure does not matter.
  bool SaveDTVSwitch();

  // The folder record that the request asks for, null when its share is empty:
  //   {"share", "subpath", "section", "section_name", "path"}, all strings.
  Json::Value BuildRecordFolder();

  // True when the package's probe finds that two services want the same tuner. A probe that cannot
  // be run or says nothing is logged at LOG_ERR and means false; its exit status does not matter.
  static bool CheckDVBConflict();

  // stream.conf and record.conf, read at most once a process and null when they cannot be read or
  // hold no object. What a saver writes does not show here.
  const Json::Value& GetStreamConfig();
  const Json::Value& GetRecordConfig();

  Json::Value stream_conf_;
  Json::Value record_conf_;
};

}  // namespace Cinquill::CGI

#endif  // DTV_MANAGE_DTV_MANAGE_H_
