/// A program that prints which file a new table's code came from.
#include <cstdio>
#include <cstring>

#include "components/store_client.h"
#include "platform/module.h"

int main() {
    const auto pTable = qvant::test::NewTable();
    auto* const pObject = qvant::test::GetObject<IDispatch>(*pTable, IID_IBaseData);
    const void* pCode = nullptr;
    std::memcpy(&pCode, static_cast<const void*>(pObject), sizeof pCode);  // the table of its functions
    std::puts(qvant::Narrow(qvant::platform::GetModulePath(pCode)).c_str());
    pObject->Release();
    return 0;
}
