// Every file, script and tool outside the program that the modules use. No module spells a path
// itself. Only the platform knows the files of its own databases.
#ifndef PLATFORM_SYSTEM_PATHS_H_
#define PLATFORM_SYSTEM_PATHS_H_

// The folder that stands for "/": empty on the appliance, a folder of the build elsewhere. The
// build defines it and refuses characters that a shell would split or expand. A platform's library
// must be compiled with the same root.
#ifndef CINQUILL_SYSTEM_ROOT
#error "CINQUILL_SYSTEM_ROOT is defined by the build"
#endif

namespace Cinquill::SystemPaths {

inline constexpr char kRoot[] = CINQUILL_SYSTEM_ROOT;

// Settings files.
inline constexpr char kFolderConf[] = CINQUILL_SYSTEM_ROOT "/var/packages/Cinquill/etc/folder.conf";
inline constexpr char kRecordConf[] = CINQUILL_SYSTEM_ROOT "/var/packages/Cinquill/etc/record.conf";
inline constexpr char kStreamConf[] = CINQUILL_SYSTEM_ROOT "/var/packages/Cinquill/etc/stream.conf";
inline constexpr char kDTVSettingConf[] =
    CINQUILL_SYSTEM_ROOT "/var/packages/Cinquill/etc/dtv_setting.conf";

// The package's scripts. The shell runs them; the probe's argument is part of its command.
inline constexpr char kDVBConflictProbe[] =
    CINQUILL_SYSTEM_ROOT "/var/packages/Cinquill/scripts/check-dvb-conflict.sh check";
inline constexpr char kDTVControlScript[] =
    CINQUILL_SYSTEM_ROOT "/var/packages/Cinquill/scripts/teskdtv.sh";

// Indexing services.
inline constexpr char kIndexDaemonPid[] = CINQUILL_SYSTEM_ROOT "/var/run/teskindexd.pid";
inline constexpr char kVideoIndexDaemonPid[] = CINQUILL_SYSTEM_ROOT "/var/run/teskvideoindexd.pid";
inline constexpr char kVideoMetadataDaemonPid[] =
    CINQUILL_SYSTEM_ROOT "/var/run/teskvideometadatad.pid";
inline constexpr char kIndexTool[] = CINQUILL_SYSTEM_ROOT "/usr/tesk/bin/teskindex";

// The indexer's queues.
inline constexpr char kIndexingQueue[] = CINQUILL_SYSTEM_ROOT "/var/spool/tesk_indexing_queue";
inline constexpr char kIndexingQueueTmp[] =
    CINQUILL_SYSTEM_ROOT "/var/spool/tesk_indexing_queue.tmp";
inline constexpr char kMetadataQueue[] =
    CINQUILL_SYSTEM_ROOT "/var/spool/tesk_video_metadata.queue";
inline constexpr char kMetadataQueueTmp[] =
    CINQUILL_SYSTEM_ROOT "/var/spool/tesk_video_metadata.queue.tmp";

}  // namespace Cinquill::SystemPaths

#endif  // PLATFORM_SYSTEM_PATHS_H_
