#include "rolls/hardware_report.h"

#include "base/format.h"
#include "platform/stop.h"

namespace qvant {

namespace {

// The keys in the record; all but the day stand in "PERMISSIONS.General" too. The misspelling is the key's.
constexpr const char16_t* KEY_DAY = u"CheckkDate";
constexpr const char16_t* KEY_MODEL = u"HDModel";
constexpr const char16_t* KEY_SERIAL = u"HDSerialNo";
constexpr const char16_t* KEY_PROCESSOR = u"CPUSerialNo";

void SetIdentity(CTransaction& transaction, const platform::MachineIdentity& identity) {
    transaction.SetValue(KEY_MODEL, identity.disk.strModel);
    transaction.SetValue(KEY_SERIAL, identity.disk.strSerial);
    transaction.SetValue(KEY_PROCESSOR, identity.strProcessorId);
}

platform::MachineIdentity ReadKept(const CBaseData& record) {
    return {{record.GetString(KEY_MODEL), record.GetString(KEY_SERIAL)}, record.GetString(KEY_PROCESSOR)};
}

bool IsWhole(const platform::MachineIdentity& identity) {
    return !identity.disk.strModel.empty() && !identity.disk.strSerial.empty() && !identity.strProcessorId.empty();
}

}  // namespace

void CHardwareReport::QueryHardwareInformation() {
    IHost& host = m_parts.host;
    const Text strToday = GetToday();
    const auto pRecord = OpenRecord();
    platform::MachineIdentity identity;
    bool bKept = false;
    if (pRecord) {
        identity = ReadKept(*pRecord);
        // A text that the machine didn't tell is asked for again by every run.
        bKept = pRecord->GetString(KEY_DAY) == strToday && IsWhole(identity);
    }
    const auto pGeneral = host.OpenTable(u"PERMISSIONS.General", nullptr);
    if (!bKept) {
        host.LogMessage(u"GetHardwareInformation");
        identity = GetHardwareInformation();
        if (platform::StopRequested()) return;
        if (pRecord) {
            CTransaction transaction(*pRecord);
            transaction.SetValue(KEY_DAY, strToday);
            SetIdentity(transaction, identity);
            transaction.Commit();
        }
    }
    m_parts.session.SetMachineId(identity.strProcessorId);
    host.LogMessage(u"QueryHardwareInformation CPU_ProcessorID:" + identity.strProcessorId);
    host.LogMessage(u"QueryHardwareInformation HD_Model:" + identity.disk.strModel);
    host.LogMessage(u"QueryHardwareInformation HD_SerialNumber:" + identity.disk.strSerial);
    if (!pGeneral) return;
    CTransaction transaction(*pGeneral);
    SetIdentity(transaction, identity);
    transaction.Commit();
}

platform::MachineIdentity CHardwareReport::GetHardwareInformation() const {
    platform::MachineIdentity identity = m_readIdentity();
    if (identity.disk.strSerial == u"?") identity.disk.strSerial = u"NA";
    return identity;
}

std::unique_ptr<CBaseData> CHardwareReport::OpenRecord() const {
    const auto pStorage = m_parts.host.OpenTable(u"STORAGE", nullptr);
    return pStorage ? pStorage->GetSubTable(u"Lumivale", nullptr) : nullptr;
}

/// The day on the machine's own calendar, "%Y%m%d".
Text CHardwareReport::GetToday() const {
    const platform::SystemTime now = platform::ToLocal(m_parts.clock.NowMilliseconds());
    return Format(u"%04d%02d%02d", now.nYear, now.nMonth, now.nDay);
}

}  // namespace qvant
