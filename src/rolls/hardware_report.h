/// The machine report: disk and processor, collected once a day and told to the other modules.
#pragma once

#include <functional>
#include <memory>

#include "net/session.h"
#include "platform/clock.h"
#include "platform/machine_identity.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// What the report works with; all outlive it.
struct HardwareReportParts {
    IHost& host;
    const platform::IClock& clock;
    CSession& session;
};

/// Runs on a thread of its own beside the sign-in that started it, one run at a time. It shares no wrapper with
/// anybody: it opens the record "Lumivale" for itself, and a sign-in that forgets what the record holds has done so
/// before.
class CHardwareReport {
public:
    /// @param readIdentity  what the machine says of itself
    CHardwareReport(const HardwareReportParts& parts, std::function<platform::MachineIdentity()> readIdentity)
        : m_parts(parts), m_readIdentity(std::move(readIdentity)) {}

    /// Publishes model, serial number and processor in "PERMISSIONS.General", and gives the processor to the request
    /// ids. They are collected unless the record has all three of today (local date). A stop during the
    /// collection ends it there.
    void QueryHardwareInformation();

    /// Collects the three texts; what the machine doesn't tell is empty. A serial number of "?" is "NA".
    platform::MachineIdentity GetHardwareInformation() const;

private:
    std::unique_ptr<CBaseData> OpenRecord() const;
    Text GetToday() const;

    const HardwareReportParts m_parts;
    const std::function<platform::MachineIdentity()> m_readIdentity;
};

}  // namespace qvant
