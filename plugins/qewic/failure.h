// Texts for pictures that could not be read or written.
#pragma once

#include <qecore/core/error.h>

namespace qewic {

inline constexpr char READ[] = "qewic::Read";
inline constexpr char QUERY[] = "qewic::QueryFileInfo";
inline constexpr char WRITE[] = "qewic::Write";

/// Records that there is no memory for so many bytes. \return E_OUTOFMEMORY
HRESULT FailMemory(uint64_t size) noexcept;

/// Records why the Imaging Component returned `ofCodec`, unless a cause has been recorded since ErrorCount()
/// was `before`. \return `result`
HRESULT Report(unsigned before, char const* operation, HRESULT result, HRESULT ofCodec) noexcept;

/// Codes of the Imaging Component itself mean that the file is at fault; any other code is passed on.
HRESULT ToFileError(HRESULT result) noexcept;

/// Report for a frame that was not asked for alone: the text begins with its number.
HRESULT ReportFrame(unsigned frame, unsigned before, HRESULT ofCodec) noexcept;

}  // namespace qewic
