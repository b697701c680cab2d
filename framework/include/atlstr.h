/// @file
/// Strings of 8-bit and of wide characters.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <tchar.h>

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

#include "afxapi.h"

[[noreturn]] AFX_API void AfxThrowMemoryException();
[[noreturn]] AFX_API void AfxThrowInvalidArgException();

/// Allocates from the heap, and reports a failure as the framework does: with a CMemoryException.
template <typename T>
struct CAfxAllocator
{
    using value_type = T;

    CAfxAllocator() = default;
    template <typename U>
    CAfxAllocator(const CAfxAllocator<U>&)
    {
    }

    T* allocate(std::size_t count)
    {
        // The framework counts in int.
        void* block = count <= INT_MAX ? std::malloc(count * sizeof(T)) : nullptr;
        if (block == nullptr)
        {
            AfxThrowMemoryException();
        }
        return static_cast<T*>(block);
    }
    void deallocate(T* block, std::size_t) { std::free(block); }

    friend bool operator==(const CAfxAllocator&, const CAfxAllocator&) { return true; }
    friend bool operator!=(const CAfxAllocator&, const CAfxAllocator&) { return false; }
};

/// The other character type.
template <typename BaseType>
struct CAfxOtherChar;
template <>
struct CAfxOtherChar<char>
{
    using Type = wchar_t;
};
template <>
struct CAfxOtherChar<wchar_t>
{
    using Type = char;
};

/// A string with value semantics, of `char` or of `wchar_t`.
///
/// Text of the other character type is converted through the ANSI code page. A null pointer counts
/// as an empty text. An index outside the string throws CInvalidArgException, and memory that
/// cannot be had throws CMemoryException. Searches and comparisons end at a null character within
/// the string.
template <typename BaseType>
class AFX_API CStringT
{
public:
    typedef BaseType XCHAR;
    typedef XCHAR* PXSTR;
    typedef const XCHAR* PCXSTR;
    typedef typename CAfxOtherChar<BaseType>::Type YCHAR;
    typedef YCHAR* PYSTR;
    typedef const YCHAR* PCYSTR;

    CStringT();
    CStringT(const CStringT& strSrc);
    CStringT(CStringT&& strSrc);
    CStringT(const CStringT<YCHAR>& strSrc);
    CStringT(PCXSTR pszSrc);
    CStringT(PCYSTR pszSrc);
    CStringT(const unsigned char* pszSrc);
    CStringT(PCXSTR pch, int nLength);
    CStringT(PCYSTR pch, int nLength);
    explicit CStringT(char ch, int nLength = 1);
    explicit CStringT(wchar_t ch, int nLength = 1);
    ~CStringT();

    CStringT& operator=(const CStringT& strSrc);
    CStringT& operator=(CStringT&& strSrc);
    CStringT& operator=(const CStringT<YCHAR>& strSrc);
    CStringT& operator=(PCXSTR pszSrc);
    CStringT& operator=(PCYSTR pszSrc);
    CStringT& operator=(const unsigned char* pszSrc);
    CStringT& operator=(char ch);
    CStringT& operator=(wchar_t ch);

    CStringT& operator+=(const CStringT& str);
    CStringT& operator+=(const CStringT<YCHAR>& str);
    CStringT& operator+=(PCXSTR pszSrc);
    CStringT& operator+=(PCYSTR pszSrc);
    CStringT& operator+=(char ch);
    CStringT& operator+=(unsigned char ch);
    CStringT& operator+=(wchar_t ch);

    // ---- The text as a whole ---------------------------------------------------------------

    int GetLength() const;
    bool IsEmpty() const;
    void Empty();
    PCXSTR GetString() const;
    operator PCXSTR() const;
    /// Unlike an assignment, throws CInvalidArgException for a null pointer.
    void SetString(PCXSTR pszSrc);
    void SetString(PCXSTR pszSrc, int nLength);
    void Append(PCXSTR pszSrc);
    void Append(PCXSTR pszSrc, int nLength);
    void Append(const CStringT& strSrc);
    void AppendChar(XCHAR ch);
    void Truncate(int nNewLength);

    // ---- Characters; the index of the terminator may be read, not written --------------------

    XCHAR GetAt(int iChar) const;
    XCHAR operator[](int iChar) const;
    void SetAt(int iChar, XCHAR ch);

    // ---- The buffer, to be written from outside ---------------------------------------------

    /// @return the string's characters, with room for at least @p nMinBufferLength and a
    /// terminator. Whoever writes to them calls ReleaseBuffer() before any other member.
    PXSTR GetBuffer(int nMinBufferLength = 0);

    /// As GetBuffer(), and sets the length.
    PXSTR GetBufferSetLength(int nLength);

    /// Ends writing to the buffer.
    /// @param nNewLength the new length; -1: up to the terminator that is in the buffer.
    void ReleaseBuffer(int nNewLength = -1);
    void ReleaseBufferSetLength(int nNewLength);

    // ---- Comparison: negative, 0 or positive -------------------------------------------------

    int Compare(PCXSTR psz) const;
    int CompareNoCase(PCXSTR psz) const;

    // ---- Parts; positions and counts outside the string are cut to it ------------------------

    CStringT Mid(int iFirst) const;
    CStringT Mid(int iFirst, int nCount) const;
    CStringT Left(int nCount) const;
    CStringT Right(int nCount) const;

    /// @return the longest beginning that consists only of characters of the set (of others).
    CStringT SpanIncluding(PCXSTR pszCharSet) const;
    CStringT SpanExcluding(PCXSTR pszCharSet) const;

    /// @return the next token at or after @p iStart; empty, with @p iStart -1, when there is none.
    /// @param pszTokens the characters that separate tokens.
    /// @param iStart moves behind the token and the separator that ends it.
    CStringT Tokenize(PCXSTR pszTokens, int& iStart) const;

    // ---- Search: an index, or -1 -------------------------------------------------------------

    int Find(PCXSTR pszSub, int iStart = 0) const;
    int Find(XCHAR ch, int iStart = 0) const;
    int ReverseFind(XCHAR ch) const;
    int FindOneOf(PCXSTR pszCharSet) const;

    // ---- Changes -------------------------------------------------------------------------------

    /// @return how many were replaced.
    int Replace(XCHAR chOld, XCHAR chNew);
    int Replace(PCXSTR pszOld, PCXSTR pszNew);
    /// @return how many were removed.
    int Remove(XCHAR chRemove);
    /// Inserts before index @p iIndex, which is cut to the string.
    /// @return the new length.
    int Insert(int iIndex, PCXSTR psz);
    int Insert(int iIndex, XCHAR ch);
    /// @return the new length.
    int Delete(int iIndex, int nCount = 1);

    // Without arguments: white space.
    CStringT& Trim();
    CStringT& Trim(XCHAR chTarget);
    CStringT& Trim(PCXSTR pszTargets);
    CStringT& TrimLeft();
    CStringT& TrimLeft(XCHAR chTarget);
    CStringT& TrimLeft(PCXSTR pszTargets);
    CStringT& TrimRight();
    CStringT& TrimRight(XCHAR chTarget);
    CStringT& TrimRight(PCXSTR pszTargets);

    CStringT& MakeUpper();
    CStringT& MakeLower();
    CStringT& MakeReverse();

    // ---- Formatting: as the platform's `printf`, where %s means the format's own character type,
    // %S the other one, %hs 8-bit and %ls wide text -----------------------------------------

    void Format(PCXSTR pszFormat, ...);
    void FormatV(PCXSTR pszFormat, va_list args);
    void AppendFormat(PCXSTR pszFormat, ...);
    void AppendFormatV(PCXSTR pszFormat, va_list args);

    // ---- Operators of two texts ----------------------------------------------------------------

    friend CStringT operator+(const CStringT& str1, const CStringT& str2)
    {
        return Join(str1, str2);
    }
    friend CStringT operator+(const CStringT& str1, PCXSTR psz2) { return Join(str1, psz2); }
    friend CStringT operator+(PCXSTR psz1, const CStringT& str2) { return Join(psz1, str2); }
    friend CStringT operator+(const CStringT& str1, char ch2) { return Join(str1, ch2); }
    friend CStringT operator+(const CStringT& str1, wchar_t ch2) { return Join(str1, ch2); }
    friend CStringT operator+(char ch1, const CStringT& str2) { return Join(ch1, str2); }
    friend CStringT operator+(wchar_t ch1, const CStringT& str2) { return Join(ch1, str2); }

    friend bool operator==(const CStringT& str1, XCHAR ch2) { return str1 == CStringT(ch2); }
    friend bool operator==(XCHAR ch1, const CStringT& str2) { return CStringT(ch1) == str2; }
    friend bool operator!=(const CStringT& str1, XCHAR ch2) { return str1 != CStringT(ch2); }
    friend bool operator!=(XCHAR ch1, const CStringT& str2) { return CStringT(ch1) != str2; }

#define AFX_COMPARISON(op)                                              \
    friend bool operator op(const CStringT& str1, const CStringT& str2) \
    {                                                                   \
        return str1.Compare(str2) op 0;                                 \
    }                                                                   \
    friend bool operator op(const CStringT& str1, PCXSTR psz2)          \
    {                                                                   \
        return str1.Compare(psz2) op 0;                                 \
    }                                                                   \
    friend bool operator op(PCXSTR psz1, const CStringT& str2)          \
    {                                                                   \
        return 0 op str2.Compare(psz1);                                 \
    }                                                                   \
    friend bool operator op(const CStringT& str1, PCYSTR psz2)          \
    {                                                                   \
        return str1.Compare(CStringT(psz2)) op 0;                       \
    }                                                                   \
    friend bool operator op(PCYSTR psz1, const CStringT& str2)          \
    {                                                                   \
        return 0 op str2.Compare(CStringT(psz1));                       \
    }

    AFX_COMPARISON(==)
    AFX_COMPARISON(!=)
    AFX_COMPARISON(<)
    AFX_COMPARISON(<=)
    AFX_COMPARISON(>)
    AFX_COMPARISON(>=)
#undef AFX_COMPARISON

private:
    using Text = std::basic_string<XCHAR, std::char_traits<XCHAR>, CAfxAllocator<XCHAR>>;
    using View = std::basic_string_view<XCHAR>;

    template <typename First, typename Second>
    static CStringT Join(const First& first, const Second& second)
    {
        CStringT sum(first);
        sum += second;
        return sum;
    }

    View GetView() const;
    Text& GetText();
    template <typename Predicate>
    void TrimLeftWhile(Predicate isTarget);
    template <typename Predicate>
    void TrimRightWhile(Predicate isTarget);

    Text m_text;
    // While the buffer is lent, m_text is longer than the string by this.
    std::size_t m_nSpare = 0;
};

extern template class CStringT<char>;
extern template class CStringT<wchar_t>;

typedef CStringT<char> CStringA;
typedef CStringT<wchar_t> CStringW;
typedef CStringT<TCHAR> CString;
