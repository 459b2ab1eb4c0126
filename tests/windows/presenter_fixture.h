// presenter_fixture.h: a presenter on a window of 320 x 200, and what it draws, read back.
#pragma once

#include <windows.h>

#include <d3d11_3.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "playback/presenter.h"
#include "playback/shader_source.h"

namespace velkantrix {

class PresenterTest : public testing::Test {
protected:
    void SetUp() override {
        window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 320, 200, nullptr, nullptr,
                                 GetModuleHandleW(nullptr), nullptr);
        ASSERT_TRUE(setUpPresenter(presenter, window));
    }
    void TearDown() override {
        releasePresenter(presenter);
        DestroyWindow(window);
    }

    ComPtr<ID3D11Texture2D> texture(UINT width, UINT height, DXGI_FORMAT format, UINT bind,
                                    D3D11_USAGE usage, const void* data, UINT pitch) {
        D3D11_TEXTURE2D_DESC wanted = {};
        wanted.Width = width;
        wanted.Height = height;
        wanted.MipLevels = wanted.ArraySize = wanted.SampleDesc.Count = 1;
        wanted.Format = format;
        wanted.Usage = usage;
        wanted.BindFlags = bind;
        if (usage == D3D11_USAGE_STAGING) wanted.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        const D3D11_SUBRESOURCE_DATA initial = {data, pitch, 0};
        ComPtr<ID3D11Texture2D> made;
        EXPECT_EQ(presenter.device->CreateTexture2D(&wanted, data ? &initial : nullptr, made.put()),
                  S_OK);
        return made;
    }

    // Draws a preview into a target of that size and reads its pixels: BGRA, row by row.
    std::vector<std::uint8_t> drawn(UINT width, UINT height, const PictureLook& look) {
        const auto target = texture(width, height, DXGI_FORMAT_B8G8R8A8_UNORM,
                                    D3D11_BIND_RENDER_TARGET, D3D11_USAGE_DEFAULT, nullptr, 0);
        ComPtr<ID3D11RenderTargetView> view;
        EXPECT_EQ(presenter.device->CreateRenderTargetView(target.get(), nullptr, view.put()),
                  S_OK);
        EXPECT_TRUE(drawInto(presenter, view.get(), static_cast<std::int32_t>(width),
                             static_cast<std::int32_t>(height), nullptr, look));
        const auto copy =
            texture(width, height, DXGI_FORMAT_B8G8R8A8_UNORM, 0, D3D11_USAGE_STAGING, nullptr, 0);
        presenter.context->CopyResource(copy.get(), target.get());
        D3D11_MAPPED_SUBRESOURCE mapped = {};
        EXPECT_EQ(presenter.context->Map(copy.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
        std::vector<std::uint8_t> pixels;
        for (UINT y = 0; y < height; ++y) {
            const auto* const row =
                static_cast<const std::uint8_t*>(mapped.pData) + y * mapped.RowPitch;
            pixels.insert(pixels.end(), row, row + width * 4);
        }
        presenter.context->Unmap(copy.get(), 0);
        return pixels;
    }

    // The planes of an NV12 preview of one colour each.
    void makePlanes(std::uint8_t luma, std::uint8_t blueness, std::uint8_t redness) {
        std::vector<std::uint8_t> bytes(16 * 16, luma);
        for (int i = 0; i < 8 * 8; ++i) {
            bytes.push_back(blueness);
            bytes.push_back(redness);
        }
        presenter.previewTexture = texture(16, 16, DXGI_FORMAT_NV12, D3D11_BIND_SHADER_RESOURCE,
                                           D3D11_USAGE_DEFAULT, bytes.data(), 16);
        ComPtr<ID3D11Device3> device;
        ASSERT_EQ(presenter.device->QueryInterface(__uuidof(ID3D11Device3), device.putVoid()),
                  S_OK);
        presenter.lumaView = planeView(device.get(), DXGI_FORMAT_R8_UNORM, 0);
        presenter.chromaView = planeView(device.get(), DXGI_FORMAT_R8G8_UNORM, 1);
    }

    ComPtr<ID3D11ShaderResourceView> planeView(ID3D11Device3* device, DXGI_FORMAT format,
                                               UINT plane) {
        D3D11_SHADER_RESOURCE_VIEW_DESC1 wanted = {};
        wanted.Format = format;
        wanted.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
        wanted.Texture2D.MipLevels = 1;
        wanted.Texture2D.PlaneSlice = plane;
        ComPtr<ID3D11ShaderResourceView1> view;
        EXPECT_EQ(
            device->CreateShaderResourceView1(presenter.previewTexture.get(), &wanted, view.put()),
            S_OK);
        return ComPtr<ID3D11ShaderResourceView>::share(view.get());
    }

    // What the shader was told last.
    ShaderConstants constants() {
        D3D11_BUFFER_DESC wanted = {};
        wanted.ByteWidth = sizeof(ShaderConstants);
        wanted.Usage = D3D11_USAGE_STAGING;
        wanted.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        ComPtr<ID3D11Buffer> copy;
        EXPECT_EQ(presenter.device->CreateBuffer(&wanted, nullptr, copy.put()), S_OK);
        presenter.context->CopyResource(copy.get(), presenter.constants.get());
        D3D11_MAPPED_SUBRESOURCE mapped = {};
        EXPECT_EQ(presenter.context->Map(copy.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
        ShaderConstants values;
        std::memcpy(&values, mapped.pData, sizeof values);
        presenter.context->Unmap(copy.get(), 0);
        return values;
    }

    Presenter presenter;
    HWND window = nullptr;
};

} // namespace velkantrix
