/// @file
/// The memory of one slot in the wave-out player's ring.
#pragma once

#include "CMemManage.h"

namespace ostrel::present
{

/// Makes a slot's buffer exactly @p size bytes long; one that is so already keeps its contents. A
/// negative size is one that cannot be had.
/// @param previous empty. Receives the block that the buffer held before, if another one takes its
/// place: someone may still be reading it.
/// @return the buffer's block; null, and the buffer is empty, when it could not be allocated.
unsigned char* ResizeBlock(CMemManage& buffer, int size, CMemManage& previous);

/// Puts what is to be played into a slot's buffer, which becomes @p length bytes long.
///
/// A source that is the buffer's own block has been written there already, and stays. One that
/// begins further inside of it ends with it at the latest: the rest is silence.
/// @param previous as for ResizeBlock().
/// @return how many bytes of the buffer are to be played; 0 when it cannot hold so many.
int TakeBlock(CMemManage& buffer, const unsigned char* source, int length, CMemManage& previous);

}  // namespace ostrel::present
