/// Contract list files, from their bytes to the tables and lists that are drawn from them.

#include "documents/contract_list_reader.h"
#include "memory_file.h"
#include "model/contract_builder.h"
#include "store_host.h"

namespace {

using namespace qvant;

void MakeContractList(const JsonValue& list, const RunState& state) {
    fuzz::CStoreHost host;
    CUnderlyingLists lists(host);
    for (const TextView strKey : {u"QV.F.CME.ES", u"QV.O.CME.ES", u"QV.F.CFFEX.IF", u"QV.O.CFFEX.IO"}) {
        lists.m_mapSecurityName.insert_or_assign(strKey, u"name");
    }
    const SymbolWords words;
    const CLocalExchanges localExchanges(true);
    CContractBuilder builder({host, state, lists, words, localExchanges});
    CTransaction hotMonth(host[u"HOTMONTHTABLE"]);
    CTransaction nearbyMonth(host[u"NearbyMonth"]);
    Text strClassifyText;
    builder.MakeContractList(list, &hotMonth, &nearbyMonth, u"FUT", strClassifyText);
    hotMonth.Commit();
    nearbyMonth.Commit();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static const fuzz::CMemoryFile file;
    file.Replace(fuzz::AsBytes(pData, nSize));
    CContractListReader reader({file.GetPath()});
    const JsonValue* pList = reader.ReadNext();
    fuzz::Require(pList != nullptr, "a file that is there is read");
    RunState state;
    state.AppsLanguage = u"CHT";
    MakeContractList(*pList, state);
    state.m_mapExchanges = {u"QV.F.CME", u"QV.F.CFFEX"};
    MakeContractList(*pList, state);
    return 0;
}
