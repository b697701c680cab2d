#include <afxcoll.h>

#include <algorithm>

namespace
{

size_t CheckedSize(INT_PTR size)
{
    if (size < 0)
    {
        AfxThrowInvalidArgException();
    }
    // Far more than memory holds, and the standard library has an exception of its own for it.
    if (size > INT_MAX)
    {
        AfxThrowMemoryException();
    }
    return static_cast<size_t>(size);
}

}  // namespace

template <typename Value>
CAfxValueArray<Value>::CAfxValueArray() = default;

template <typename Value>
CAfxValueArray<Value>::~CAfxValueArray() = default;

template <typename Value>
size_t CAfxValueArray<Value>::Checked(INT_PTR nIndex) const
{
    if (nIndex < 0 || nIndex >= GetSize())
    {
        AfxThrowInvalidArgException();
    }
    return static_cast<size_t>(nIndex);
}

template <typename Value>
INT_PTR CAfxValueArray<Value>::GetSize() const
{
    return static_cast<INT_PTR>(m_values.size());
}

template <typename Value>
INT_PTR CAfxValueArray<Value>::GetCount() const
{
    return GetSize();
}

template <typename Value>
BOOL CAfxValueArray<Value>::IsEmpty() const
{
    return m_values.empty();
}

template <typename Value>
INT_PTR CAfxValueArray<Value>::GetUpperBound() const
{
    return GetSize() - 1;
}

template <typename Value>
void CAfxValueArray<Value>::SetSize(INT_PTR nNewSize, INT_PTR nGrowBy)
{
    const size_t size = CheckedSize(nNewSize);
    if (nGrowBy >= 0)
    {
        m_nGrowBy = CheckedSize(nGrowBy);
    }
    if (size == 0)
    {
        RemoveAll();
        return;
    }
    if (m_nGrowBy > 0 && size > m_values.capacity())
    {
        const size_t room = m_values.capacity() + m_nGrowBy;
        m_values.reserve(size > room ? size : room);
    }
    m_values.resize(size);
}

template <typename Value>
void CAfxValueArray<Value>::FreeExtra()
{
    m_values.shrink_to_fit();
}

template <typename Value>
void CAfxValueArray<Value>::RemoveAll()
{
    m_values.clear();
    m_values.shrink_to_fit();
}

template <typename Value>
Value CAfxValueArray<Value>::GetAt(INT_PTR nIndex) const
{
    return m_values[Checked(nIndex)];
}

template <typename Value>
void CAfxValueArray<Value>::SetAt(INT_PTR nIndex, Value newElement)
{
    m_values[Checked(nIndex)] = newElement;
}

template <typename Value>
Value& CAfxValueArray<Value>::ElementAt(INT_PTR nIndex)
{
    return m_values[Checked(nIndex)];
}

template <typename Value>
Value CAfxValueArray<Value>::operator[](INT_PTR nIndex) const
{
    return GetAt(nIndex);
}

template <typename Value>
Value& CAfxValueArray<Value>::operator[](INT_PTR nIndex)
{
    return ElementAt(nIndex);
}

template <typename Value>
const Value* CAfxValueArray<Value>::GetData() const
{
    return m_values.empty() ? nullptr : m_values.data();
}

template <typename Value>
Value* CAfxValueArray<Value>::GetData()
{
    return m_values.empty() ? nullptr : m_values.data();
}

template <typename Value>
void CAfxValueArray<Value>::SetAtGrow(INT_PTR nIndex, Value newElement)
{
    if (CheckedSize(nIndex) >= m_values.size())
    {
        SetSize(nIndex + 1);
    }
    SetAt(nIndex, newElement);
}

template <typename Value>
INT_PTR CAfxValueArray<Value>::Add(Value newElement)
{
    const INT_PTR index = GetSize();
    SetAtGrow(index, newElement);
    return index;
}

template <typename Value>
INT_PTR CAfxValueArray<Value>::Append(const CAfxValueArray& src)
{
    const INT_PTR first = GetSize();
    const INT_PTR count = src.GetSize();
    SetSize(first + count);
    // One by one, for it may be this array.
    for (INT_PTR i = 0; i < count; ++i)
    {
        SetAt(first + i, src.GetAt(i));
    }
    return first;
}

template <typename Value>
void CAfxValueArray<Value>::Copy(const CAfxValueArray& src)
{
    m_values = src.m_values;
}

template <typename Value>
void CAfxValueArray<Value>::InsertAt(INT_PTR nIndex, Value newElement, INT_PTR nCount)
{
    if (nIndex < 0 || nCount <= 0)
    {
        AfxThrowInvalidArgException();
    }
    CheckedSize(nIndex);
    const size_t count = CheckedSize(nCount);
    CheckedSize(std::max(nIndex, GetSize()) + nCount);
    if (nIndex > GetSize())
    {
        // All at once: an array that memory cannot hold stays as it was.
        SetSize(nIndex + nCount);
        std::fill_n(m_values.begin() + nIndex, count, newElement);
        return;
    }
    m_values.insert(m_values.begin() + nIndex, count, newElement);
}

template <typename Value>
void CAfxValueArray<Value>::RemoveAt(INT_PTR nIndex, INT_PTR nCount)
{
    if (nIndex < 0 || nCount < 0 || nCount > GetSize() - nIndex)
    {
        AfxThrowInvalidArgException();
    }
    const auto first = m_values.begin() + nIndex;
    m_values.erase(first, first + nCount);
}

template class CAfxValueArray<DWORD>;
template class CAfxValueArray<UINT>;

CDWordArray::CDWordArray() = default;
CDWordArray::~CDWordArray() = default;

CUIntArray::CUIntArray() = default;
CUIntArray::~CUIntArray() = default;
