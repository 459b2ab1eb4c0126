// picture_buffer.h: a picture's bytes in memory of a pool's.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <memory>

#include "base/com_ptr.h"
#include "export/picture_pool.h"
#include "platform/com.h"

namespace velkantrix {

// The memory goes back to its pool when nobody holds the buffer any more: an encoder may keep it
// longer than the sample that it was in. Any thread may use it.
class PictureBuffer final : public ComObject<IMFMediaBuffer> {
public:
    // E_OUTOFMEMORY when there is no memory.
    [[nodiscard]] static HRESULT make(const std::shared_ptr<PicturePool>& pool,
                                      ComPtr<PictureBuffer>& made);

    STDMETHODIMP Lock(BYTE** bytes, DWORD* mostBytes, DWORD* length) override;
    STDMETHODIMP Unlock() override { return S_OK; }
    STDMETHODIMP GetCurrentLength(DWORD* length) override;
    STDMETHODIMP SetCurrentLength(DWORD length) override;
    STDMETHODIMP GetMaxLength(DWORD* length) override;

private:
    PictureBuffer(std::shared_ptr<PicturePool> pool, PicturePool::Block block)
        : pool_(std::move(pool)), block_(std::move(block)) {}
    ~PictureBuffer() override { pool_->giveBack(std::move(block_)); }

    [[nodiscard]] DWORD size() const { return static_cast<DWORD>(pool_->blockSize()); }

    const std::shared_ptr<PicturePool> pool_;
    PicturePool::Block block_;
    std::atomic<DWORD> length_ = 0; // of what is filled
};

} // namespace velkantrix
