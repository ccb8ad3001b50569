#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "completion.h"
#include "failure.h"
#include "input.h"
#include "options.h"
#include "prompt.h"
#include "qvant/message_box.h"
#include "requests.h"

namespace qvant::host {

namespace {

enum ExitStatus { EXIT_DONE = 0, EXIT_NO_MODULE = 1, EXIT_BAD_OPTIONS = 2 };

/// Shows the modules' message boxes as events, for the life of the object.
class CMessageBoxes {
public:
    explicit CMessageBoxes(CEventLog& log) {
        QvantSetMessageBoxSink(
            [](void* pContext, LPCOLESTR pszTitle, LPCOLESTR pszText) {
                static_cast<CEventLog*>(pContext)->Add(kind::MESSAGE_BOX,
                                                       {{"title", MakeText(pszTitle)}, {"text", MakeText(pszText)}});
            },
            &log);
    }
    CMessageBoxes(const CMessageBoxes&) = delete;
    CMessageBoxes& operator=(const CMessageBoxes&) = delete;
    ~CMessageBoxes() { QvantSetMessageBoxSink(nullptr, nullptr); }

private:
    static Text MakeText(LPCOLESTR psz) { return psz ? Text(psz) : Text(); }
};

std::string_view WithoutIndent(std::string_view strLine) {
    return strLine.substr(std::min(strLine.find_first_not_of(" \t"), strLine.size()));
}

void RunRequests(ILineSource& source, IOutput& output, CRequests& requests) {
    while (!requests.HasQuit()) {
        const auto strLine = source.Read();
        if (!strLine) break;
        const std::string_view strRequest = WithoutIndent(*strLine);
        if (!strRequest.empty()) output.ShowReply(requests.Run(strRequest));
    }
}

/// The ends of the program that face the person or the machine.
struct Ends {
    std::unique_ptr<CPrompt> pPrompt;
    std::unique_ptr<CFileLines> pScript;
    std::unique_ptr<CFileLines> pInput;
    std::unique_ptr<CFileWriter> pWriter;
    std::unique_ptr<IOutput> pOutput;
    std::unique_ptr<CRefreshProgress> pProgress;  ///< with a prompt alone
    std::unique_ptr<CCurtain> pCurtain;

    /// In the order in which they are read.
    std::vector<ILineSource*> Sources() const {
        std::vector<ILineSource*> arSources;
        if (pScript) arSources.push_back(pScript.get());
        if (pPrompt) arSources.push_back(pPrompt.get());
        if (pInput) arSources.push_back(pInput.get());
        return arSources;
    }
    ILineWriter& Writer() const { return pPrompt ? static_cast<ILineWriter&>(*pPrompt) : *pWriter; }
};

/// @param nScript  the open script; below 0 when there is none
Ends MakeEnds(const Options& options, int nScript, CTables& tables, CStop& stop) {
    Ends ends;
    if (nScript >= 0) ends.pScript = std::make_unique<CFileLines>(nScript, stop);
    const bool bInput = nScript < 0 || options.bPrompt;
    if (bInput && !options.bJson && isatty(STDIN_FILENO) && isatty(STDOUT_FILENO)) {
        ends.pPrompt = std::make_unique<CPrompt>(stop, [&tables, pathHome = options.pathHome](Argument nArgument) {
            return GetNames(nArgument, tables, pathHome);
        });
    } else {
        if (bInput) ends.pInput = std::make_unique<CFileLines>(STDIN_FILENO, stop);
        ends.pWriter = std::make_unique<CFileWriter>(STDOUT_FILENO, stop);
    }
    if (options.bJson) {
        ends.pOutput = std::make_unique<CJsonOutput>(ends.Writer());
    } else {
        ends.pOutput = std::make_unique<CTextOutput>(ends.Writer());
    }
    if (ends.pPrompt) ends.pProgress = std::make_unique<CRefreshProgress>(*ends.pOutput, *ends.pPrompt, *ends.pPrompt);
    IOutput& shown = ends.pProgress ? static_cast<IOutput&>(*ends.pProgress) : *ends.pOutput;
    ends.pCurtain = std::make_unique<CCurtain>(shown, !(ends.pScript && ends.pPrompt));
    return ends;
}

int RunHost(const Options& options, int nScript) {
    CStop stop;
    const CSignals signals(stop);
    CTables tables(options.pathHome / "Data" / "STORAGE.db");
    Ends ends = MakeEnds(options, nScript, tables, stop);
    CEventLog log(*ends.pCurtain);
    const CMessageBoxes boxes(log);
    if (!options.bBare) tables.MakeStartTables();
    std::unique_ptr<CService> pService;
    try {
        pService = std::make_unique<CService>(options.pathModule, log, tables, stop);
    } catch (const CFailure& failure) {
        std::cerr << "lumivale-host: " << failure.what() << '\n';
        return EXIT_NO_MODULE;
    }
    std::optional<CRefreshProgress::CWatch> watch;
    if (ends.pProgress)
        watch.emplace(*ends.pProgress,
                      [&service = *pService] { return ReadRefreshState(service.GetState(u"refresh")); });
    CRequests requests(tables, *pService, log, stop, {options.pathHome, options.pathCommonData});
    for (ILineSource* pSource : ends.Sources()) {
        if (pSource == ends.pPrompt.get()) ends.pCurtain->Raise();
        RunRequests(*pSource, *ends.pCurtain, requests);
    }
    requests.End();
    return EXIT_DONE;
}

int RunProgram(const Options& options) {
    if (options.bHelp) {
        std::cout << USAGE;
        return EXIT_DONE;
    }
    if (!options.pathScript) return RunHost(options, -1);
    const int nScript = open(options.pathScript->c_str(), O_RDONLY | O_CLOEXEC);
    if (nScript < 0) throw CFailure("can't read " + options.pathScript->string());
    const int nStatus = RunHost(options, nScript);
    close(nScript);
    return nStatus;
}

}  // namespace

}  // namespace qvant::host

int main(int nArguments, char** parguments) {
    using namespace qvant::host;
    try {
        return RunProgram(ReadOptions(nArguments, parguments));
    } catch (const CFailure& failure) {
        std::cerr << "lumivale-host: " << failure.what() << '\n' << USAGE;
        return EXIT_BAD_OPTIONS;
    } catch (const std::exception& failure) {
        std::cerr << "lumivale-host: " << failure.what() << '\n';
        return EXIT_NO_MODULE;
    }
}
