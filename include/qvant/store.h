/// The shared key/value store: what a table object answers to, by number.
///
/// A table is reached as an `IDispatch` under `IID_IBaseData`; its methods are called by dispatch ID and have no
/// names. Reading needs no transaction, never waits for a writer and sees all of a commit or nothing of it. A write
/// transaction belongs to one thread; several may be open on one table, and they apply in the order of their commits.
#pragma once

#include "qvant/component.h"

/// Class of a table object, ProgID "QV_Data.BaseData.1".
inline constexpr CLSID CLSID_BaseData{0x7B950E2F, 0xD7B1, 0x4718, {0xA8, 0xC3, 0xF3, 0x5A, 0xB5, 0xE2, 0x6E, 0x94}};
/// The dispatch interface of a table.
inline constexpr IID IID_IBaseData{0x8C46DC43, 0x6D03, 0x4890, {0x9D, 0x54, 0x25, 0x46, 0x7D, 0x06, 0x97, 0xDE}};
/// The events of a table, a dispatch interface that a sink answers to.
inline constexpr IID IID__IBaseDataEvents{0xA4C66F7C, 0x9C9C, 0x4B64, {0xAD, 0x6E, 0x0E, 0x6D, 0x24, 0x07, 0x90, 0x83}};

namespace qvant::store {

/// Methods of `IID_IBaseData`. All are called as methods, never as properties.
enum Method : DISPID {
    METHOD_BEGIN = 1,    ///< () -> I4 transaction, always above 0
    METHOD_CANCEL = 2,   ///< (I4 transaction): drops what it did; sends nothing
    METHOD_OPERATE = 3,  ///< (I4 transaction, I4 operation, VARIANT a, VARIANT b)
    METHOD_COMMIT = 4,   ///< (I4 transaction): applies it in one step and sends the events
    METHOD_GET = 5       ///< (I4 operation, VARIANT a) -> VARIANT
};

/// Events of `IID__IBaseDataEvents`; delivered on one thread for each sink, in the order of the commits.
enum Event : DISPID {
    EVENT_UPDATE = 1,  ///< (I4 transaction, string key): a key was written; a row's key is its index
    EVENT_REPLACE = 2  ///< (I4 transaction): a section was cleared or loaded whole; comes before the updates
};

/// Operations of `METHOD_OPERATE` (a, b) and `METHOD_GET` (a).
enum Operation : LONG {
    OPERATION_ROW = 2,    ///< write (I4 index, value); read (I4 index), or -1 for the number of rows
    OPERATION_VALUE = 3,  ///< write (key, value); read (key), empty when there is none
    OPERATION_TABLE = 5,  ///< write (name, I4 global cookie of a table); read (name) -> I4 global cookie, else empty
    OPERATION_KEYS = 11,  ///< read (I4 1024): the keys of the keyed values, "T:key" each, joined by ";"
    OPERATION_BLOB = 12,  ///< read (I4 mask 4): the keyed section, shared; write (empty, blob): loads it whole
    OPERATION_CLEAR = 15  ///< write (I4 mask, empty): clears the sections of the mask
};

/// Sections of a table: 1 << (operation - 1).
enum SectionMask : LONG { MASK_ROWS = 2, MASK_VALUES = 4, MASK_TABLES = 16, MASK_ALL = 255 };

inline constexpr LONG KEYS_ARGUMENT = 1024;

}  // namespace qvant::store

/// Receives the content of one version of a table. The pointers live for the call only.
struct IQvantTableVisitor {
    virtual void STDMETHODCALLTYPE OnRow(LONG nIndex, const VARIANT* pValue) = 0;
    virtual void STDMETHODCALLTYPE OnValue(const OLECHAR* pszKey, UINT nLength, const VARIANT* pValue) = 0;
    /// `pTable` is borrowed; add a reference to keep it.
    virtual void STDMETHODCALLTYPE OnTable(const OLECHAR* pszName, UINT nLength, IDispatch* pTable) = 0;

protected:
    ~IQvantTableVisitor() = default;
};

inline constexpr IID IID_IQvantTable{0x5C0B1E6A, 0x3C0E, 0x4B5B, {0x8F, 0x27, 0x0E, 0x6B, 0x55, 0xD1, 0x9A, 0x41}};

/// What the owner of a store needs beyond the numbered methods. A table object answers to it by QueryInterface.
struct IQvantTable : IUnknown {
    /// Shows one version of this table, whole: rows by index, values and tables by name. Any thread.
    virtual HRESULT STDMETHODCALLTYPE Visit(IQvantTableVisitor* pVisitor) = 0;

    /// Binds the table, with all sub-tables it has and will get, to a SQLite file: loads what the file holds and
    /// from then on writes every commit before readers see it.
    /// @param pszFile  path of the file; made when it is missing
    /// @return S_OK; E_INVALIDARG for null; E_FAIL when the file can't be opened or isn't a database. The table then
    ///         works in memory alone.
    virtual HRESULT STDMETHODCALLTYPE Persist(const OLECHAR* pszFile) = 0;

protected:
    ~IQvantTable() = default;
};
