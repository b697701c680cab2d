/// @file
/// The exception of COM.
#pragma once

#include <wtypes.h>

#include "afx.h"

/// A failed result of COM or of the platform.
class AFX_API COleException : public CException
{
public:
    COleException();

    BOOL GetErrorMessage(LPTSTR lpszError, UINT nMaxError,
                         PUINT pnHelpContext = nullptr) const override;

    SCODE m_sc;  ///< the result
};

/// Throws a COleException with this result.
[[noreturn]] AFX_API void AfxThrowOleException(SCODE sc);
