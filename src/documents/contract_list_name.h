/// The two names of a classification.
#pragma once

#include "base/text.h"

namespace qvant {

/// An entry "NAME" or "NAME:CNAME", split at its first ":".
struct ContractListName {
    explicit ContractListName(TextView strEntry)
        : strName(strEntry.substr(0, strEntry.find(u':'))),
          strCname(strName.size() + 1 < strEntry.size() ? strEntry.substr(strName.size() + 1) : TextView(strName)) {}

    /// Whether NAME can name a file of the folder that the lists lie in. It comes from the user's permissions, and must
    /// not lead to any other place.
    bool IsUsable() const {
        return !Contains(strName, u"..") && strName.find_first_of(TextView(u"/\\\0", 3)) == Text::npos;
    }

    Text strName;   ///< names the file
    Text strCname;  ///< goes to the server; NAME when nothing else is given
};

}  // namespace qvant
