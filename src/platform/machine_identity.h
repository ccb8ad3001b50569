/// What tells this machine from others, as far as the system shows it to anybody without special rights.
#pragma once

#include "base/text.h"

namespace qvant::platform {

/// A text that the system doesn't give is empty.
struct DiskIdentity {
    Text strModel;
    Text strSerial;
};

struct MachineIdentity {
    DiskIdentity disk;
    Text strProcessorId;
};

/// The last disk in a folder laid out as the system's own list of block devices. What only looks like a disk (a file, a
/// piece of memory, a volume over other devices) isn't one; nor is a drive for discs or floppies.
DiskIdentity ReadDiskIdentity(TextView strFolder);

/// Family, model, stepping and features of the processor: EDX and EAX of its identification's leaf 1, as 16 hexadecimal
/// digits. Empty on a processor without such an identification.
Text ReadProcessorId();

/// All of it, of this machine.
MachineIdentity ReadMachineIdentity();

}  // namespace qvant::platform
