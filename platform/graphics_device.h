// graphics_device.h: a Direct3D 11 device that decodes, shows and encodes video.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <mfobjects.h>

#include "base/com_ptr.h"

namespace velkantrix {

// On the default adapter, by its hardware. Any thread may use it.
struct GraphicsDevice {
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    ComPtr<IMFDXGIDeviceManager> manager; // hands the device to Media Foundation
};

// Media Foundation has been started. On failure `made` may be half made.
[[nodiscard]] HRESULT createGraphicsDevice(GraphicsDevice& made);

} // namespace velkantrix
