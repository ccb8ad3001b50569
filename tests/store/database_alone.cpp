/// A program that opens the record databases as a start of the service does, in a place without their component, and
/// prints what came of it. Message boxes are printed as lines.
#include <cstdio>

#include "platform/files.h"
#include "qvant/message_box.h"
#include "store/base_data.h"
#include "store/record_databases.h"

namespace {

using qvant::Narrow;
using qvant::Text;
using qvant::TextView;

class CSilentHost : public qvant::IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override {}
    std::unique_ptr<qvant::CBaseData> OpenTable(TextView, qvant::CBaseDataEventReceiver*) override { return nullptr; }
};

}  // namespace

int main() {
    QvantSetMessageBoxSink(
        [](void*, LPCOLESTR pszTitle, LPCOLESTR pszText) {
            std::printf("%s: %s\n", Narrow(pszTitle).c_str(), Narrow(pszText).c_str());
        },
        nullptr);
    const Text strProgram = qvant::platform::GetExecutablePath();
    const Text strHome = strProgram.substr(0, strProgram.rfind(u'/') + 1);
    CSilentHost host;
    qvant::CDataBaseEventReceiver receiver;
    qvant::CRecordDatabases databases(host, receiver);
    databases.OpenSearch(strHome, u"");
    databases.OpenCqyz(strHome);
    std::puts(databases.GetSearch() ? "database" : "no database");
    return 0;
}
