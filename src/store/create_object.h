/// Component objects by their names.
#pragma once

#include "qvant/component.h"

namespace qvant {

/// The dispatch interface of an object, for the reference that the caller holds on it; null when it has none.
IDispatch* AsDispatch(IUnknown* pObject);

/// A new object by its ProgID. @param iid  the interface that it must have @return null when there is none
IDispatch* CreateObject(const OLECHAR* pszProgId, REFIID iid);

}  // namespace qvant
