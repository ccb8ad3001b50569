/// The result of a query, as it goes from a database to a record set and on to a record item.
///
/// The interfaces between the three keep to component types: each of the objects may come from a library of its own
/// when a terminal has the component twice.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"
#include "qvant/component.h"

namespace qvant::database {

inline constexpr IID IID_IRecordSource{0x6B1E0D37, 0x92C4, 0x4F5A, {0xA8, 0x71, 0x3C, 0x0E, 0xB5, 0x49, 0xD2, 0x60}};
inline constexpr IID IID_IRecordTarget{0xC84F2A91, 0x0B7D, 0x4E63, {0x95, 0x2C, 0xE0, 0x6A, 0x1F, 0x8B, 0x37, 0xD4}};

/// One row.
struct IRecord : IUnknown {
    /// @return the text of a field, owned by the caller; null when there is no such field or no memory
    virtual BSTR STDMETHODCALLTYPE GetField(LPCOLESTR pszName, UINT nLength) = 0;

protected:
    ~IRecord() = default;
};

/// The rows of one result.
struct IRecords : IUnknown {
    virtual LONG STDMETHODCALLTYPE GetCount() = 0;
    /// @return the row, with a reference for the caller; null when it can't be had
    virtual IRecord* STDMETHODCALLTYPE GetRecord(LONG nIndex) = 0;

protected:
    ~IRecords() = default;
};

/// What a record set is to a database.
struct IRecordSource : IUnknown {
    virtual void STDMETHODCALLTYPE SetRecords(IRecords* pRecords) = 0;

protected:
    ~IRecordSource() = default;
};

/// What a record item is to a record set.
struct IRecordTarget : IUnknown {
    virtual void STDMETHODCALLTYPE SetRecord(IRecord* pRecord) = 0;

protected:
    ~IRecordTarget() = default;
};

/// Rows in a row, in UTF-8 as the file has them.
struct SRecordBlock {
    std::shared_ptr<const std::vector<std::string>> pColumns;
    std::string strBytes;
    std::vector<std::uint32_t> arEnds;  ///< where each field ends, row by row
    std::size_t nFirst = 0;             ///< place of the first row in the result

    std::size_t CountRows() const { return pColumns && !pColumns->empty() ? arEnds.size() / pColumns->size() : 0; }
    std::string_view GetField(std::size_t nRow, std::size_t nColumn) const;
};

/// Text of a result that is held at once.
inline constexpr std::size_t BLOCK_BYTES = std::size_t{1} << 20;

/// What a query found.
struct SQueryResult {
    Text strTable;
    Text strField;
    Text strValue;
    std::vector<std::int64_t> arRowIds;
    std::shared_ptr<const SRecordBlock> pBlock;  ///< from the first row on, as many as it holds
};

/// Reads further rows of a result.
class IBlockReader {
public:
    virtual ~IBlockReader() = default;
    /// @return a block that begins with that row; null when the row isn't there any more
    virtual std::shared_ptr<const SRecordBlock> ReadBlock(const SQueryResult& result, std::size_t nFirst) = 0;
};

/// Any thread. Knows its database as long as that lives; what isn't held can't be read afterwards.
class CRecords final : public IRecords {
public:
    CRecords(SQueryResult result, std::weak_ptr<IBlockReader> pReader);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override;
    LONG STDMETHODCALLTYPE GetCount() override { return static_cast<LONG>(m_result.arRowIds.size()); }
    IRecord* STDMETHODCALLTYPE GetRecord(LONG nIndex) override;

private:
    ~CRecords();
    std::shared_ptr<const SRecordBlock> FindBlock(std::size_t nRow);

    std::atomic<ULONG> m_nReferences{1};
    const SQueryResult m_result;
    const std::weak_ptr<IBlockReader> m_pReader;
    CMutex m_mutex;
    std::shared_ptr<const SRecordBlock> m_pBlock QV_GUARDED_BY(m_mutex);  ///< the one read last
};

}  // namespace qvant::database
