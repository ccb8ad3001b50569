/// The record database: small tables of text rows, each database a SQLite file of its own.
///
/// A database object is reached as an `IDispatch` under `IID_IDataBaseAPI`; its methods are called by dispatch ID and
/// have no names. A record set takes the result of a query, a record item one row of it. Any SQLite tool may open the
/// files as well: a table stands there under its own name, which is opaque text, with one TEXT column for each field.
///
/// A database named NAME is the file "Data/API/NAME.db" below the home folder. A name that begins with "*" is an
/// absolute path, in which "C:\ProgramData" means the common application-data folder and "\" stands for "/".
///
/// Any thread may call; the calls on one object run one after another. A lock that somebody else holds on a file is
/// waited for, two seconds at most for each call. What SQLite refuses gives a result of 0 (or false) and one
/// `EVENT_WRITE_LOG` that says why; nothing is raised for it.
#pragma once

#include "qvant/component.h"

/// Class of a database object, ProgID "Qvant.DataBaseAPI.1".
inline constexpr CLSID CLSID_DataBaseAPI{0x7917B64A, 0x4E00, 0x4F07, {0xB8, 0x04, 0x23, 0x0A, 0x95, 0xF9, 0x88, 0x26}};
/// The dispatch interface of a database object; it has the number of its class.
inline constexpr IID IID_IDataBaseAPI = CLSID_DataBaseAPI;
/// The events of a database object, a dispatch interface that a sink answers to.
inline constexpr IID IID__IDataBaseAPIEvents{
    0xA2FC4706, 0xECE8, 0x4BFF, {0xA6, 0x57, 0x98, 0x31, 0xC9, 0x0B, 0xC1, 0x3C}};
/// Classes of the two result objects, ProgIDs "Qvant.RecordSet.1" and "Qvant.RecordItem.1".
inline constexpr CLSID CLSID_RecordSet{0x3E2D9A50, 0x6C1B, 0x4D7E, {0x9A, 0x43, 0x5B, 0x0F, 0xC2, 0x71, 0xE8, 0x16}};
inline constexpr CLSID CLSID_RecordItem{0x91C7F0B4, 0x25AE, 0x4C38, {0xB6, 0x0D, 0x8E, 0x14, 0xD9, 0x3A, 0x62, 0x7F}};

namespace qvant::database {

/// Methods of `IID_IDataBaseAPI`. All are called as methods. 2, 3 and 5 aren't used.
enum Method : DISPID {
    /// (string folder, string system) -> I4 1. Comes before anything else. The folder "." is the home folder, another
    /// one takes its place. The databases that are in "Data/API" already become known, so that their tables are found
    /// before they are declared. Of several that have a table of one name, the one that was declared last counts, then
    /// one whose name ends in "_" and the system's name, then the first by name.
    METHOD_OPEN_SYSTEM = 1,
    /// (string table, string fields, string values) -> I4 1, 0 when the row wasn't taken. Fields are joined by ",", and
    /// so are the values, in the order of the fields. A values text that ends in "||" and a separator (up to eight
    /// units, none of them a letter, a digit or beyond ASCII) is split at that separator instead, and its ending is
    /// dropped. There is no escaping. A field without a value is empty; values beyond the last field are dropped, which
    /// the log tells once a batch.
    METHOD_INSERT_RECORD = 4,
    /// (string table, string field, string value) -> I4 1, 0 when it failed. Deletes the rows whose field equals the
    /// value; with both empty, every row.
    METHOD_DELETE_RECORD = 6,
    /// (string table, string field, string value, dispatch record set) -> BOOL. Puts the rows whose field equals the
    /// value into the record set, in the order of their insertion; with both empty, every row. False when it failed or
    /// there is no such table; the record set is left as it was then. A result is held whole up to a megabyte of text;
    /// the rows of a larger one behind that are read when they are fetched, as the file has them then. The first field
    /// of a table is indexed.
    METHOD_QUERY_RECORDS = 7,
    /// (string database, string table, string fields) -> I4 1, 0 when it failed. Makes file and table unless they are
    /// there; a table that is there stays as it is. A file that was deleted or replaced meanwhile is opened anew.
    METHOD_CREATE_TABLE = 8,
    /// (): from now to `METHOD_END_BATCH` the writes to each file are one transaction. A batch doesn't nest.
    METHOD_BEGIN_BATCH = 9,
    /// () -> I4 1, 0 when a file didn't take its batch: then none of the batch is in it. Nobody has to look.
    METHOD_END_BATCH = 10,
    /// (string database, string table) -> I4 1, 0 when it failed. Removes the table, or with an empty name all tables.
    /// A file that is damaged, or is no database at all, goes away as a whole.
    METHOD_DROP_DATABASE = 11
};

/// Events of `IID__IDataBaseAPIEvents`, sent on the calling thread before the call returns.
enum Event : DISPID {
    EVENT_COMMAND_MSG = 1,  ///< (I4, I4, string): never sent by this component
    EVENT_WRITE_LOG = 2     ///< (string line): why a call failed
};

/// Methods of a record set.
enum RecordSetMethod : DISPID {
    METHOD_GET_COUNT = 1,  ///< () -> I4 number of rows of the last result
    METHOD_FETCH = 2       ///< (I4 row index, dispatch record item) -> BOOL; fills the item
};

/// Methods of a record item.
enum RecordItemMethod : DISPID {
    METHOD_GET_FIELD = 1  ///< (string field) -> string: the field's text; empty when there is no such field
};

}  // namespace qvant::database

inline constexpr IID IID_IQvantDataBase{0xD0A6B7E3, 0x48F2, 0x4A19, {0x8C, 0x5D, 0x27, 0xE1, 0x90, 0x4B, 0x3F, 0xA8}};

/// What a client needs beyond the numbered methods. A database object answers to it by QueryInterface.
struct IQvantDataBase : IUnknown {
    /// Forbids or allows waiting for locks; allowed at first. Forbidding ends the wait of a running call, which fails
    /// as if its two seconds were over. Any thread, at any time.
    virtual HRESULT STDMETHODCALLTYPE AllowWaits(BOOL bAllow) = 0;

protected:
    ~IQvantDataBase() = default;
};
