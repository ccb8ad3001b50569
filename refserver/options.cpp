#include "options.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

namespace qvant::refserver {

namespace {

/// The arguments, taken one after the other.
class CArguments {
public:
    explicit CArguments(const std::vector<std::string>& arArguments) : m_arArguments(arArguments) {}

    bool Next(std::string& strName) {
        if (m_nNext == m_arArguments.size()) return false;
        strName = m_arArguments[m_nNext++];
        return true;
    }

    const std::string& Value(const std::string& strName) {
        if (m_nNext == m_arArguments.size()) throw COptionError(strName + " needs a value");
        return m_arArguments[m_nNext++];
    }

    template <typename Number>
    Number Count(const std::string& strName, Number nMost = std::numeric_limits<Number>::max()) {
        const std::string& strValue = Value(strName);
        Number nValue = 0;
        const char* pEnd = strValue.data() + strValue.size();
        const auto result = std::from_chars(strValue.data(), pEnd, nValue);
        if (strValue.empty() || result.ec != std::errc() || result.ptr != pEnd || nValue > nMost) {
            throw COptionError(strName + " \"" + strValue + "\" isn't a number up to " + std::to_string(nMost));
        }
        return nValue;
    }

private:
    const std::vector<std::string>& m_arArguments;
    std::size_t m_nNext = 0;
};

Options ParseServe(CArguments& arguments) {
    ServeOptions options;
    for (std::string strName; arguments.Next(strName);) {
        if (strName == "--help" || strName == "-h") return HelpRequest{};
        if (strName == "--version") return VersionRequest{};
        if (strName == "--data") {
            options.data = arguments.Value(strName);
        } else if (strName == "--port") {
            options.nPort = arguments.Count<std::uint16_t>(strName);
        } else if (strName == "--address") {
            options.strAddress = arguments.Value(strName);
        } else if (strName == "--fault") {
            options.arFaults.push_back(ParseFault(arguments.Value(strName)));
        } else {
            throw COptionError("unknown option \"" + strName + "\"");
        }
    }
    if (options.data.empty()) throw COptionError("--data DIR is missing");
    return options;
}

Options ParseGenerate(CArguments& arguments) {
    constexpr std::size_t nMost = 10'000'000;
    GenerateOptions options;
    for (std::string strName; arguments.Next(strName);) {
        if (strName == "--help" || strName == "-h") return HelpRequest{};
        if (strName == "--products") {
            options.nProducts = arguments.Count(strName, nMost);
        } else if (strName == "--contracts") {
            options.nContracts = arguments.Count(strName, nMost);
        } else if (strName == "--listed") {
            options.nListed = arguments.Count(strName, nMost);
        } else if (strName == "--seed") {
            options.nSeed = arguments.Count<std::uint64_t>(strName);
        } else if (strName == "--out") {
            options.out = arguments.Value(strName);
        } else {
            throw COptionError("unknown option \"" + strName + "\" of generate");
        }
    }
    if (options.out.empty()) throw COptionError("generate: --out DIR is missing");
    if (options.nProducts == 0) throw COptionError("generate: --products N is missing");
    if (options.nContracts < options.nProducts) {
        throw COptionError("generate: --contracts counts all securities, so it can't be below --products");
    }
    return options;
}

/// A version goes out within URLs as it stands, and into lists whose items ":" and "|" part.
std::string CheckVersion(const std::string& strVersion) {
    const bool bPlain = std::all_of(strVersion.begin(), strVersion.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '.' || c == '-' ||
               c == '_';
    });
    if (!bPlain || strVersion.empty()) {
        throw COptionError("publish: the version \"" + strVersion +
                           "\" isn't made of letters, digits, \".\", \"-\" and \"_\"");
    }
    return strVersion;
}

struct FamilyName {
    std::string_view name;
    DocumentFamily nFamily;
    bool bNamed;  // the family has several, and the next word names one
};

constexpr FamilyName Families[] = {{"securities", DocumentFamily::Securities, false},
                                   {"contracts", DocumentFamily::Contracts, true},
                                   {"rates", DocumentFamily::Rates, false},
                                   {"holidays", DocumentFamily::Holidays, false},
                                   {"stocks", DocumentFamily::Stocks, false}};

Options ParsePublish(CArguments& arguments) {
    PublishOptions options;
    const FamilyName* pFamily = nullptr;
    for (std::string strName; arguments.Next(strName);) {
        if (strName == "--help" || strName == "-h") return HelpRequest{};
        if (strName == "--data") {
            options.data = arguments.Value(strName);
        } else if (strName == "--version") {
            options.strVersion = CheckVersion(arguments.Value(strName));
        } else if (strName.starts_with("-")) {
            throw COptionError("unknown option \"" + strName + "\" of publish");
        } else if (pFamily) {
            throw COptionError("publish: \"" + strName + "\" is one word too many");
        } else {
            pFamily = std::find_if(std::begin(Families), std::end(Families),
                                   [&](const FamilyName& family) { return family.name == strName; });
            if (pFamily == std::end(Families))
                throw COptionError("publish: there are no \"" + strName + "\" to publish");
            if (pFamily->bNamed) options.strName = arguments.Value("publish: " + strName);
        }
    }
    if (options.data.empty()) throw COptionError("publish: --data DIR is missing");
    if (!pFamily) throw COptionError("publish: what to publish is missing");
    options.nFamily = pFamily->nFamily;
    return options;
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arArguments) {
    CArguments arguments(arArguments);
    try {
        const std::string strCommand = arArguments.empty() ? "" : arArguments.front();
        if (strCommand != "generate" && strCommand != "publish") return ParseServe(arguments);
        std::string strTaken;
        arguments.Next(strTaken);
        return strCommand == "publish" ? ParsePublish(arguments) : ParseGenerate(arguments);
    } catch (const CFaultError& error) {
        throw COptionError("--fault: " + std::string(error.what()));
    }
}

std::string HelpText() {
    return R"(lumivale-refserver: serves reference-data documents from a data folder.

  lumivale-refserver --data DIR [--port N] [--address A] [--fault F]...
  lumivale-refserver generate --products N --contracts M [--listed L] --seed S --out DIR
  lumivale-refserver publish --data DIR WHAT [NAME] [--version V]

Serving:
  --data DIR      the data folder: world.json, permissions.json and the files *.json of
                  securities, contracts, classifications, stkinfo, rolls, bars and factors. An
                  edit is served from the next request on, under a version of its own; a broken
                  one is noted on standard error, and the last good data stay.
  --port N        0, the default, takes any free port
  --address A     numeric IPv4 address; default 127.0.0.1
  --fault F       PATH-SUBSTRING:KIND[=ARG]: every request whose path holds PATH-SUBSTRING
                  goes wrong in this way; may be given again. Kinds:
                    delay=MS     answers later          status=CODE  another status
                    slow=RATE    bytes a second         cut[=BYTES]  ends within the body
                    reset        a TCP reset            hang         never answers
                    garbage      a body without sense   empty        a body of nothing
                    refresh[=N]  a Refresh header (the first N times)
                    wrong-gzip   begins like gzip, isn't

  Once it listens it prints "listening on http://ADDRESS:PORT/", then a line for each request:
  time, method, target, status, body bytes, gzip or plain, milliseconds, faults.

  While it runs:  GET    /_control/faults    the faults in force
                  POST   /_control/faults    replaces them: a JSON array such as
                                             [{"match":"getMainForm","kind":"delay","ms":500,"times":2}]
                                             (status: "code", slow: "rate", cut: "bytes")
                  DELETE /_control/faults    no faults
                  GET    /_control/requests  how often each path was asked for

Generating:
  --products N    futures and options products
  --contracts M   securities in all, so at least N; those beyond the products are stocks
  --listed L      futures and options contracts in the classifications, beside all the stocks;
                  default 0
  --seed S        the same seed gives the same files; default 1
  --out DIR       the data folder to make; it must not hold a world already

Publishing gives a document a new version, so that whoever holds it finds news when it asks the
next time; a server of the folder may run meanwhile. It prints the document with its old and its
new version.
  securities      the securities document
  contracts NAME  the contract list of the classification NAME
  rates           the currency rates; the version is their day
  holidays        the holiday calendar; the version is a remark at its end
  stocks          the stock infos
  --version V     the new version, or how it begins where the server puts a hash behind it; without
                  it the old one is counted up, that of the rates by days

  --help, --version

Exit status: 0 after SIGINT or SIGTERM, a finished generate or a publication, 1 when the data, the
address or the output can't be used, 2 for bad options.
)";
}

}  // namespace qvant::refserver
