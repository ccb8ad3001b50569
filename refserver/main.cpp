#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <variant>
#include <vector>

#include "access_log.h"
#include "faults.h"
#include "generator.h"
#include "http_server.h"
#include "options.h"
#include "publisher.h"
#include "reference_service.h"
#include "stop_signal.h"
#include "world_keeper.h"

namespace qvant::refserver {

namespace {

const CStopSignal* g_pStop = nullptr;

void OnStopSignal(int) { g_pStop->Raise(); }

void CatchSignals(const CStopSignal& stop) {
    g_pStop = &stop;
    struct sigaction action {};
    action.sa_handler = &OnStopSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // Whoever read the access log may go; the server stays.
    std::signal(SIGPIPE, SIG_IGN);
}

int Run(const ServeOptions& options) {
    // Static: a late signal must still find it.
    static const CStopSignal stop;
    CatchSignals(stop);
    CAccessLog log;
    CWorldKeeper worlds(options.data, [&log](const std::string& strText) { log.WriteNote(strText); });
    CFaultList faults(options.arFaults);
    CReferenceService service(worlds, faults, log, stop);
    CHttpServer server(options.strAddress, options.nPort, stop);
    std::cout << "listening on http://" << options.strAddress << ":" << server.GetPort() << "/" << std::endl;
    server.Run([&service](CConnection& connection, const HttpRequest& request) {
        return service.Exchange(connection, request);
    });
    return 0;
}

int Run(const GenerateOptions& options) {
    GenerateWorld(options);
    return 0;
}

int Run(const PublishOptions& options) {
    for (const auto& publication : Publish(options)) {
        const auto& strOld = publication.strOldVersion;
        std::cout << publication.strDocument << ": " << (strOld.empty() ? "no version" : strOld) << " -> "
                  << publication.strNewVersion << "\n";
    }
    return 0;
}

int Run(const HelpRequest&) {
    std::cout << HelpText();
    return 0;
}

int Run(const VersionRequest&) {
    std::cout << "lumivale-refserver " << QV_VERSION << "\n";
    return 0;
}

}  // namespace

}  // namespace qvant::refserver

int main(int nArguments, char** ppArguments) {
    using namespace qvant::refserver;
    try {
        const auto options = ParseOptions({ppArguments + 1, ppArguments + nArguments});
        return std::visit([](const auto& chosen) { return Run(chosen); }, options);
    } catch (const COptionError& error) {
        std::cerr << "lumivale-refserver: " << error.what() << "\n(--help tells the options)\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "lumivale-refserver: " << error.what() << "\n";
        return 1;
    }
}
