#include "export/picture_buffer.h"

#include <new>
#include <utility>

namespace velkantrix {

HRESULT PictureBuffer::make(const std::shared_ptr<PicturePool>& pool, ComPtr<PictureBuffer>& made) {
    PicturePool::Block block = pool->take();
    if (!block) return E_OUTOFMEMORY;
    made = ComPtr<PictureBuffer>::adopt(new (std::nothrow) PictureBuffer(pool, std::move(block)));
    return made ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP PictureBuffer::Lock(BYTE** bytes, DWORD* mostBytes, DWORD* length) {
    if (!bytes) return E_POINTER;
    *bytes = block_.get();
    if (mostBytes) *mostBytes = size();
    if (length) *length = length_;
    return S_OK;
}

STDMETHODIMP PictureBuffer::GetCurrentLength(DWORD* length) {
    if (!length) return E_POINTER;
    *length = length_;
    return S_OK;
}

STDMETHODIMP PictureBuffer::SetCurrentLength(DWORD length) {
    if (length > size()) return E_INVALIDARG;
    length_ = length;
    return S_OK;
}

STDMETHODIMP PictureBuffer::GetMaxLength(DWORD* length) {
    if (!length) return E_POINTER;
    *length = size();
    return S_OK;
}

} // namespace velkantrix
