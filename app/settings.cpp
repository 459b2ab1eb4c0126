#include "app/settings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "app/placing.h"
#include "app/recent_files.h"
#include "app/settings_codec.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/registry.h"

namespace velkantrix {
namespace {

const wchar_t* const ROOT = L"Software\\Velkantrix";
const wchar_t* const PLAYHEADS = L"Software\\Velkantrix\\Playheads";
const wchar_t* const GEOMETRY = L"Software\\Velkantrix\\Geometry";
const wchar_t* const ZOOM = L"Software\\Velkantrix\\Zoom";
const wchar_t* const PLACEMENT_NAME = L"WindowPlacement";
const wchar_t* const VOLUME_NAME = L"Volume";
const wchar_t* const MUTED_NAME = L"Muted";
const wchar_t* const RECENT_NAME = L"RecentFiles";

constexpr const char* NOT_STORED = "then it isn't there at the next start";

using Bytes = std::span<const std::uint8_t>;

// Each unit by itself, as file names are compared. The C library's towlower knows ASCII only until
// a locale is set.
std::wstring lowered(const std::wstring& text) {
    std::wstring lower(text.size(), L'\0');
    const int length = static_cast<int>(text.size());
    if (LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, text.c_str(), length, lower.data(),
                      length, nullptr, nullptr, 0) != length)
        return text;
    return lower;
}

std::wstring keyOf(const std::wstring& path, const FileStamp& stamp) {
    const std::wstring lower = lowered(absolutePath(path));
    return fileStateKeyOf(std::u16string(lower.begin(), lower.end()), stamp);
}

// Of the open video, while its file can be examined.
std::optional<std::wstring> openFileKey() {
    const std::wstring& path = openState().path;
    if (!editState().videoLoaded || path.empty()) return std::nullopt;
    const std::optional<FileStamp> stamp = fileStamp(path);
    if (!stamp) return std::nullopt;
    return keyOf(path, *stamp);
}

Bytes placementBytes(const WINDOWPLACEMENT& placement) {
    return {reinterpret_cast<const std::uint8_t*>(&placement), sizeof placement};
}

// The window's own; in fullscreen that of before.
WINDOWPLACEMENT placementNow() {
    if (ui().fullscreen) return ui().placementBefore;
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof placement;
    GetWindowPlacement(ui().window, &placement);
    return placement;
}

bool loadPlacement(HWND window, const wchar_t* key, const std::wstring& name) {
    const auto bytes = readRegistry(key, name, REG_BINARY);
    const auto placement = bytes ? decodePlacement(*bytes) : std::nullopt;
    return placement && applyPlacement(window, std::bit_cast<WINDOWPLACEMENT>(*placement));
}

void storeRecent() {
    std::vector<std::u16string> texts;
    for (const std::wstring& file : ui().recentFiles) texts.emplace_back(file.begin(), file.end());
    ignoreResult(writeRegistry(ROOT, RECENT_NAME, REG_MULTI_SZ, encodeTexts(texts)), NOT_STORED);
}

} // namespace

std::wstring fileStateKey(const std::wstring& path) {
    return keyOf(path, fileStamp(path).value_or(FileStamp{}));
}

void storeFileState() {
    const std::optional<std::wstring> key = openFileKey();
    if (!key) return;
    storeFilePlayhead(*key);
    storeFileGeometry(*key);
    storeFileZoom(*key);
}

void storeFilePlayhead(const std::wstring& key) {
    const EditState& edit = editState();
    if (edit.duration <= 0) return;
    const double playhead = std::clamp(edit.playhead, 0.0, edit.duration);
    const auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof playhead>>(playhead);
    ignoreResult(writeRegistry(PLAYHEADS, key, REG_BINARY, bytes), NOT_STORED);
}

void storeFileGeometry(const std::wstring& key) {
    ignoreResult(writeRegistry(GEOMETRY, key, REG_BINARY, placementBytes(placementNow())),
                 NOT_STORED);
}

void storeFileZoom(const std::wstring& key) {
    ignoreResult(writeRegistryNumber(ZOOM, key, ui().doubled ? 1 : 0), NOT_STORED);
}

bool loadFilePlayhead(double& seconds) {
    const auto bytes = readRegistry(PLAYHEADS, fileStateKey(openState().path), REG_BINARY);
    const auto stored = bytes ? decodePlayhead(*bytes) : std::nullopt;
    if (stored) seconds = *stored;
    return stored.has_value();
}

bool loadFileGeometry() {
    if (ui().fullscreen) return false;
    return loadPlacement(ui().window, GEOMETRY, fileStateKey(openState().path));
}

bool loadFileZoom() {
    return readRegistryNumber(ZOOM, fileStateKey(openState().path)).value_or(0) != 0;
}

void forgetFileState(const std::wstring& key) {
    for (const wchar_t* of : {PLAYHEADS, GEOMETRY, ZOOM})
        ignoreResult(deleteRegistryValue(of, key), "there may be none");
}

void loadRecent() {
    ui().recentFiles.clear();
    const auto bytes = readRegistry(ROOT, RECENT_NAME, REG_MULTI_SZ);
    if (!bytes) return;
    for (const std::u16string& text : decodeTexts(*bytes))
        ui().recentFiles.emplace_back(text.begin(), text.end());
}

void addRecent(const std::wstring& path) {
    addRecent(ui().recentFiles, path, equalNames);
    storeRecent();
}

void removeRecent(const std::wstring& path) {
    removeRecent(ui().recentFiles, path, equalNames);
    storeRecent();
}

void clearRecent() {
    ui().recentFiles.clear();
    storeRecent();
}

bool loadWindowPlacement(HWND window) {
    return loadPlacement(window, ROOT, PLACEMENT_NAME);
}

void storeWindowPlacement() {
    ignoreResult(writeRegistry(ROOT, PLACEMENT_NAME, REG_BINARY, placementBytes(placementNow())),
                 NOT_STORED);
}

void loadVolume() {
    Volume& volume = ui().volume;
    if (const auto stored = readRegistryNumber(ROOT, VOLUME_NAME))
        volume.level = decodeVolume(*stored);
    if (const auto stored = readRegistryNumber(ROOT, MUTED_NAME)) volume.muted = *stored != 0;
}

void storeVolume() {
    const Volume& volume = ui().volume;
    ignoreResult(writeRegistryNumber(ROOT, VOLUME_NAME, encodeVolume(volume.level)), NOT_STORED);
    ignoreResult(writeRegistryNumber(ROOT, MUTED_NAME, volume.muted ? 1 : 0), NOT_STORED);
}

} // namespace velkantrix
