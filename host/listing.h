/// What a look-up shows: a list of things with the same columns, or one thing with its fields.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "form.h"

namespace qvant::host {

/// A column of a listing or a field of a record.
struct Column {
    // NOLINTBEGIN(google-explicit-constructor): most columns are no more than their name
    Column(const char* pszName, Form form = Form::Plain) : strName(pszName), nForm(form) {}
    Column(std::string_view name, Form form = Form::Plain) : strName(name), nForm(form) {}
    // NOLINTEND(google-explicit-constructor)

    std::string strName;
    Form nForm;
};

struct Listing {
    std::string_view strThing;  ///< what a row is, for counting them; a literal
    std::vector<Column> arColumns;
    std::vector<std::vector<Value>> arRows;  ///< each with a value for every column
    std::size_t nTotal = 0;                  ///< rows that there are; those behind the shown ones are left out
};

/// One thing. A person is shown the fields that aren't empty.
struct Record {
    std::vector<std::pair<Column, Value>> arFields;
};

}  // namespace qvant::host
