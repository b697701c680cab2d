#include <afx.h>

const CRuntimeClass CObject::classCObject = {"CObject", static_cast<int>(sizeof(CObject)), nullptr};

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* pBaseClass) const
{
    for (const CRuntimeClass* current = this; current != pBaseClass;
         current = current->m_pfnGetBaseClass())
    {
        if (current->m_pfnGetBaseClass == nullptr)
        {
            return FALSE;
        }
    }
    return TRUE;
}

CRuntimeClass* PASCAL CObject::GetThisClass()
{
    return RUNTIME_CLASS(CObject);
}

CRuntimeClass* CObject::GetRuntimeClass() const
{
    return GetThisClass();
}

BOOL CObject::IsKindOf(const CRuntimeClass* pClass) const
{
    return GetRuntimeClass()->IsDerivedFrom(pClass);
}
