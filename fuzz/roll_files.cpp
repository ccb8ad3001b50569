/// Files of hot months, as the pass over them reads them.

#include "rolls/roll_files.h"

#include "require.h"
#include "support/scratch_folder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    static const test::CScratchFolder folder;
    static const test::CEnvironment environment("LUMIVALE_COMMON_DATA", folder.GetPath().string());
    const CRollFiles files;
    folder.Write("Qvant/HotChange/QV.F.CME.ES.HOT.txt", fuzz::AsBytes(pData, nSize));
    const HotChangeState state = files.ReadHotChange(u"QV.F.CME.ES", u"224500");
    fuzz::Require(!state.bResetMoved || !state.strHotMonth, "no month behind a reset time that moved");
    fuzz::Require(!state.strHotMonth || !Contains(*state.strHotMonth, u"\n"), "a month of one line");
    return 0;
}
