#include "crypto/guarded_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "support/import_patch.h"

namespace ostrel::test
{

namespace
{

constexpr std::size_t kPage = 4096;
constexpr unsigned char kUntouched = 0xC3;

struct Block
{
    unsigned char* pages;
    std::size_t size;
};

std::map<void*, Block> blocks;
std::vector<std::size_t> sizes;
bool isExhausted = false;
int freed = 0;
int freedUncleared = 0;

}  // namespace

struct GuardedMemory::Hooks
{
    static void* Calloc(std::size_t count, std::size_t size)
    {
        const std::size_t bytes = count * size;
        sizes.push_back(bytes);
        if (isExhausted)
        {
            return nullptr;
        }
        // At least a page lies before the block.
        const std::size_t usable = (bytes / kPage + 2) * kPage;
        auto* const pages = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, usable + kPage, MEM_RESERVE, PAGE_NOACCESS));
        VirtualAlloc(pages, usable, MEM_COMMIT, PAGE_READWRITE);
        unsigned char* const block = pages + usable - bytes;
        std::fill(pages, block, kUntouched);
        blocks[block] = {pages, bytes};
        return block;
    }

    static std::size_t Msize(void* bytes)
    {
        const auto block = blocks.find(bytes);
        return block != blocks.end() ? block->second.size : _msize(bytes);
    }

    static void Free(void* bytes)
    {
        const auto found = blocks.find(bytes);
        if (found == blocks.end())
        {
            std::free(bytes);
            return;
        }
        const Block block = found->second;
        blocks.erase(found);
        auto* const begin = static_cast<unsigned char*>(bytes);
        EXPECT_TRUE(
            std::all_of(block.pages, begin, [](unsigned char b) { return b == kUntouched; }))
            << "written to before the block";
        ++freed;
        freedUncleared +=
            !std::all_of(begin, begin + block.size, [](unsigned char b) { return b == 0; });
        VirtualFree(block.pages, 0, MEM_RELEASE);
    }
};

struct GuardedMemory::Patches
{
    ImportPatch<decltype(Hooks::Calloc)> calloc{"calloc", Hooks::Calloc};
    ImportPatch<decltype(Hooks::Msize)> msize{"_msize", Hooks::Msize};
    ImportPatch<decltype(Hooks::Free)> free{"free", Hooks::Free};
};

GuardedMemory::GuardedMemory() : vm_pPatches(nullptr)
{
    sizes.clear();
    isExhausted = false;
    freed = 0;
    freedUncleared = 0;
    vm_pPatches = new Patches;
}

GuardedMemory::~GuardedMemory()
{
    delete vm_pPatches;
    EXPECT_TRUE(blocks.empty()) << "blocks outlive the watch";
}

void GuardedMemory::SetExhausted(bool isNowExhausted)
{
    isExhausted = isNowExhausted;
}

const std::vector<std::size_t>& GuardedMemory::Sizes() const
{
    return sizes;
}

int GuardedMemory::CountFreed() const
{
    return freed;
}

int GuardedMemory::CountFreedUncleared() const
{
    return freedUncleared;
}

int GuardedMemory::CountHeld() const
{
    return static_cast<int>(blocks.size());
}

}  // namespace ostrel::test
