// forwarded_attributes.h: an object's attributes, kept in a store of the system's.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <utility>

#include "base/com_ptr.h"

namespace velkantrix {

// `Object` has all of IMFAttributes still to be defined. Any thread may call: the store has its own
// lock.
template <class Object>
class ForwardedAttributes : public Object {
public:
    STDMETHODIMP GetItem(REFGUID key, PROPVARIANT* value) override {
        return store_->GetItem(key, value);
    }
    STDMETHODIMP GetItemType(REFGUID key, MF_ATTRIBUTE_TYPE* type) override {
        return store_->GetItemType(key, type);
    }
    STDMETHODIMP CompareItem(REFGUID key, REFPROPVARIANT value, BOOL* equal) override {
        return store_->CompareItem(key, value, equal);
    }
    STDMETHODIMP Compare(IMFAttributes* other, MF_ATTRIBUTES_MATCH_TYPE how, BOOL* equal) override {
        return store_->Compare(other, how, equal);
    }
    STDMETHODIMP GetUINT32(REFGUID key, UINT32* value) override {
        return store_->GetUINT32(key, value);
    }
    STDMETHODIMP GetUINT64(REFGUID key, UINT64* value) override {
        return store_->GetUINT64(key, value);
    }
    STDMETHODIMP GetDouble(REFGUID key, double* value) override {
        return store_->GetDouble(key, value);
    }
    STDMETHODIMP GetGUID(REFGUID key, GUID* value) override { return store_->GetGUID(key, value); }
    STDMETHODIMP GetStringLength(REFGUID key, UINT32* length) override {
        return store_->GetStringLength(key, length);
    }
    STDMETHODIMP GetString(REFGUID key, LPWSTR value, UINT32 size, UINT32* length) override {
        return store_->GetString(key, value, size, length);
    }
    STDMETHODIMP GetAllocatedString(REFGUID key, LPWSTR* value, UINT32* length) override {
        return store_->GetAllocatedString(key, value, length);
    }
    STDMETHODIMP GetBlobSize(REFGUID key, UINT32* size) override {
        return store_->GetBlobSize(key, size);
    }
    STDMETHODIMP GetBlob(REFGUID key, UINT8* value, UINT32 size, UINT32* written) override {
        return store_->GetBlob(key, value, size, written);
    }
    STDMETHODIMP GetAllocatedBlob(REFGUID key, UINT8** value, UINT32* size) override {
        return store_->GetAllocatedBlob(key, value, size);
    }
    STDMETHODIMP GetUnknown(REFGUID key, REFIID id, LPVOID* value) override {
        return store_->GetUnknown(key, id, value);
    }
    STDMETHODIMP SetItem(REFGUID key, REFPROPVARIANT value) override {
        return store_->SetItem(key, value);
    }
    STDMETHODIMP DeleteItem(REFGUID key) override { return store_->DeleteItem(key); }
    STDMETHODIMP DeleteAllItems() override { return store_->DeleteAllItems(); }
    STDMETHODIMP SetUINT32(REFGUID key, UINT32 value) override {
        return store_->SetUINT32(key, value);
    }
    STDMETHODIMP SetUINT64(REFGUID key, UINT64 value) override {
        return store_->SetUINT64(key, value);
    }
    STDMETHODIMP SetDouble(REFGUID key, double value) override {
        return store_->SetDouble(key, value);
    }
    STDMETHODIMP SetGUID(REFGUID key, REFGUID value) override {
        return store_->SetGUID(key, value);
    }
    STDMETHODIMP SetString(REFGUID key, LPCWSTR value) override {
        return store_->SetString(key, value);
    }
    STDMETHODIMP SetBlob(REFGUID key, const UINT8* value, UINT32 size) override {
        return store_->SetBlob(key, value, size);
    }
    STDMETHODIMP SetUnknown(REFGUID key, IUnknown* value) override {
        return store_->SetUnknown(key, value);
    }
    STDMETHODIMP LockStore() override { return store_->LockStore(); }
    STDMETHODIMP UnlockStore() override { return store_->UnlockStore(); }
    STDMETHODIMP GetCount(UINT32* count) override { return store_->GetCount(count); }
    STDMETHODIMP GetItemByIndex(UINT32 index, GUID* key, PROPVARIANT* value) override {
        return store_->GetItemByIndex(index, key, value);
    }
    STDMETHODIMP CopyAllItems(IMFAttributes* to) override { return store_->CopyAllItems(to); }

protected:
    explicit ForwardedAttributes(ComPtr<IMFAttributes> store) : store_(std::move(store)) {}

private:
    const ComPtr<IMFAttributes> store_;
};

} // namespace velkantrix
