#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qvant/component.h"
#include "store/base_data.h"

namespace qvant {
namespace {

constexpr IID IID_Probe{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

class CProbe final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        const bool bKnown = riid == IID_IUnknown || riid == IID_Probe;
        *ppvObject = bKnown ? this : nullptr;
        if (bKnown) AddRef();
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_nReferences; }
    ULONG Count() const { return m_nReferences; }

private:
    std::atomic<ULONG> m_nReferences{1};
};

class InterfaceTable : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IGlobalInterfaceTable, reinterpret_cast<void**>(&m_pTable)),
                  S_OK);
    }
    void TearDown() override { m_pTable->Release(); }

    IGlobalInterfaceTable* m_pTable = nullptr;
    CProbe m_probe;
};

TEST_F(InterfaceTable, IsTheSameForEverybody) {
    IUnknown* pOther = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable,
                               reinterpret_cast<void**>(&pOther)),
              S_OK);
    EXPECT_EQ(pOther, m_pTable);
    pOther->Release();
}

TEST_F(InterfaceTable, GivesAnInterfaceBackUntilItIsRevoked) {
    DWORD nCookie = 0;
    ASSERT_EQ(m_pTable->RegisterInterfaceInGlobal(&m_probe, IID_Probe, &nCookie), S_OK);
    EXPECT_NE(nCookie, 0u);
    EXPECT_EQ(m_probe.Count(), 2u);

    void* pBack = nullptr;
    EXPECT_EQ(m_pTable->GetInterfaceFromGlobal(nCookie, IID_Probe, &pBack), S_OK);
    EXPECT_EQ(pBack, &m_probe);
    m_probe.Release();

    EXPECT_EQ(m_pTable->RevokeInterfaceFromGlobal(nCookie), S_OK);
    EXPECT_EQ(m_probe.Count(), 1u);
    EXPECT_EQ(m_pTable->GetInterfaceFromGlobal(nCookie, IID_Probe, &pBack), E_INVALIDARG);
    EXPECT_EQ(pBack, nullptr);
    EXPECT_EQ(m_pTable->RevokeInterfaceFromGlobal(nCookie), E_INVALIDARG);
}

TEST_F(InterfaceTable, RefusesWhatTheObjectDoesNotHave) {
    DWORD nCookie = 7;
    EXPECT_EQ(m_pTable->RegisterInterfaceInGlobal(&m_probe, IID_IDispatch, &nCookie), E_NOINTERFACE);
    EXPECT_EQ(nCookie, 0u);
    EXPECT_EQ(m_pTable->RegisterInterfaceInGlobal(nullptr, IID_Probe, &nCookie), E_INVALIDARG);
    EXPECT_EQ(m_probe.Count(), 1u);

    ASSERT_EQ(m_pTable->RegisterInterfaceInGlobal(&m_probe, IID_Probe, &nCookie), S_OK);
    void* pBack = nullptr;
    EXPECT_EQ(m_pTable->GetInterfaceFromGlobal(nCookie, IID_IDispatch, &pBack), E_NOINTERFACE);
    EXPECT_EQ(m_pTable->RevokeInterfaceFromGlobal(nCookie), S_OK);
}

TEST_F(InterfaceTable, TakesRegistrationsFromManyThreads) {
    std::vector<DWORD> arCookies(64);
    {
        std::vector<std::jthread> arThreads;
        for (std::size_t i = 0; i < 4; ++i) {
            arThreads.emplace_back([&, i] {
                for (std::size_t k = i; k < arCookies.size(); k += 4) {
                    m_pTable->RegisterInterfaceInGlobal(&m_probe, IID_Probe, &arCookies[k]);
                }
            });
        }
    }
    EXPECT_EQ(m_probe.Count(), 65u);
    for (const DWORD nCookie : arCookies) EXPECT_EQ(m_pTable->RevokeInterfaceFromGlobal(nCookie), S_OK);
    EXPECT_EQ(m_probe.Count(), 1u);
}

}  // namespace
}  // namespace qvant
