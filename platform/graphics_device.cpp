#include "platform/graphics_device.h"

#include <d3d10.h>
#include <mfapi.h>

#include <iterator>

#include "platform/hresult.h"

namespace velkantrix {

HRESULT createGraphicsDevice(GraphicsDevice& made) {
    constexpr D3D_FEATURE_LEVEL LEVELS[] = {D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0,
                                            D3D_FEATURE_LEVEL_10_1, D3D_FEATURE_LEVEL_10_0};
    constexpr UINT FLAGS = D3D11_CREATE_DEVICE_BGRA_SUPPORT | D3D11_CREATE_DEVICE_VIDEO_SUPPORT;
    RETURN_IF_FAILED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, FLAGS, LEVELS,
                                       static_cast<UINT>(std::size(LEVELS)), D3D11_SDK_VERSION,
                                       made.device.put(), nullptr, made.context.put()));
    ComPtr<ID3D10Multithread> threads;
    RETURN_IF_FAILED(made.device->QueryInterface(__uuidof(ID3D10Multithread), threads.putVoid()));
    threads->SetMultithreadProtected(TRUE);
    UINT token = 0;
    RETURN_IF_FAILED(MFCreateDXGIDeviceManager(&token, made.manager.put()));
    return made.manager->ResetDevice(made.device.get(), token);
}

} // namespace velkantrix
