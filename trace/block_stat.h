#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tarnwick {

// The first eleven fields of /sys/block/DISK/stat, in the kernel's order; see the kernel's
// Documentation/block/stat.rst. All but kIoInFlight are counters.
enum BlockField : size_t {
  kReadsCompleted,
  kReadsMerged,
  kSectorsRead,  // 512 bytes each, whatever the disk's own sector
  kReadMs,
  kWritesCompleted,
  kWritesMerged,
  kSectorsWritten,
  kWriteMs,
  kIoInFlight,  // gauge
  kIoMs,
  kQueueMs,  // weighted by the requests that were waiting
  kBlockFields,
};

// The fields of one disk, or their sums over all disks.
using BlockStats = std::array<int64_t, kBlockFields>;

// The fields in the text of a stat file; those that it does not have are 0. Pure.
BlockStats parseBlockStat(std::string_view text);

// Adds a disk's fields to the sums. Pure but for these.
void addBlockStats(const BlockStats& disk, BlockStats& sums);

// Whether an entry of /sys/block is a disk that is sampled: a SCSI or UFS disk ("sda"), or the
// first MMC device as a whole ("mmcblk0"). The MMC's own extra areas (mmcblk0boot0, mmcblk0rpmb),
// other MMC devices, and loop, ram, zram and dm devices are not. Pure.
bool isSampledDisk(std::string_view name);

}  // namespace tarnwick
