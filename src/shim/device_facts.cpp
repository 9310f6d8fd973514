// What the reader library tells about its readers: the list, each reader's
// device record and name, its capabilities, and what only the model table
// knows.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/guid.h"
#include "platform/utf16.h"
#include "shim/fpapi_shim.h"
#include "shim/model_table.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

namespace {

// The reader library's device record, as far as it is read here.
constexpr size_t kDeviceRecordSize = 832;
constexpr size_t kFirstClassOffset = 0x14;
constexpr size_t kSecondClassOffset = 0x18;
constexpr size_t kVendorOffset = 0x20;
constexpr size_t kProductOffset = 0x120;
constexpr size_t kThirdTextOffset = 0x220;
constexpr size_t kVersionWordsOffset = 0x320;
constexpr size_t kWideTextUnits = 128;

// Blocks of TavloGetDeviceInfoEx: every one comes from group 3.
constexpr uint32_t kInfoGroup = 3;
constexpr uint32_t kCapWordsSelector = 1;
constexpr uint32_t kMoreCapWordsSelector = 2;
constexpr uint32_t kIdentitySelector = 4;
constexpr uint32_t kGeometrySelector = 0x66;

constexpr uint32_t kDefaultResolution = 500;

// The reader library writes little-endian, as does every host this runs on.
template <typename T>
T Read(const uint8_t* bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes + offset, sizeof(value));
    return value;
}

// One block of TavloGetDeviceInfoEx, handed to `read` if the call gave one,
// and freed. The reader library's code is the result.
template <typename Reader>
int32_t ReadInfoBlock(const uint8_t* device_id, uint32_t selector, Reader&& read) {
    static const uint32_t kZero = 0;
    tavlo::block_t block;
    const int32_t code =
        tavlo::GetDeviceInfoEx(device_id, &kZero, kInfoGroup, selector, block.out());
    if (code >= 0 && block.bytes() != nullptr) {
        read(block.bytes());
    }
    return code;
}

// A wide text of the device record up to its first NUL.
std::u16string WideText(const uint8_t* record, size_t offset) {
    std::u16string text = platform::utf16le_from_bytes(record + offset, kWideTextUnits * 2);
    text.resize(std::min(text.find(u'\0'), text.size()));
    return text;
}

// Writes `text` as UTF-8 into a zeroed field, cut at a character boundary so
// that a NUL still fits.
void CopyText(const std::u16string& text, char* field, size_t room) {
    const std::string narrow = platform::utf16_to_utf8(text.data(), text.size());
    size_t length = std::min(narrow.size(), room - 1);
    while (length > 0 && length < narrow.size() && (narrow[length] & 0xC0) == 0x80) {
        --length;
    }
    std::memcpy(field, narrow.data(), length);
}

}  // namespace

ridgex_result CFpapiShim::QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    CTraceScope scope("CFpapiShim::QueryDevices", 0);
    scoped_lock_t hold(lock_);
    DrainIdleReaders();
    if (dev_cnt == nullptr || (*dev_cnt != 0 && dev_infos == nullptr)) {
        return ShimFailure(scope, RIDGEX_E_INVALID_PARAMETER);
    }
    uint32_t found = 0;
    // Given back also when a reader's texts find no memory.
    tavlo::block_t ids;
    const int32_t code = tavlo::EnumerateDevices(&found, ids.out());
    if (code < 0) {
        return ShimFailure(scope, static_cast<ridgex_result>(code));
    }
    scope.Message("readers found: %d", found);

    ridgex_result status = RIDGEX_SUCCESS;
    const uint8_t* id = ids.bytes();
    for (uint32_t i = 0; i < *dev_cnt && i < found && status == RIDGEX_SUCCESS; ++i) {
        // Only the first record carries the caller's size.
        dev_infos[i].size = dev_infos[0].size;
        ReaderGeometry unused{};
        status = GetDeviceInfo(id + 16 * i, &dev_infos[i], &unused);
    }
    if (status == RIDGEX_SUCCESS) {
        if (found > *dev_cnt) {
            status = RIDGEX_E_MORE_DATA;
        }
        *dev_cnt = found;
    }
    if (status != RIDGEX_SUCCESS && status != RIDGEX_E_MORE_DATA) {
        ShimFailure(scope, status);
    }
    return status;
}

ridgex_result CFpapiShim::GetDeviceInfo(const uint8_t* device_id, ridgex_device_info* info,
                                        ReaderGeometry* geometry) {
    CTraceScope scope("CFpapiShim::GetDeviceInfo", 0);
    if (info == nullptr || info->size < sizeof(ridgex_device_info)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    uint8_t record[kDeviceRecordSize] = {};
    const int32_t code = tavlo::GetDeviceInfo(device_id, record);
    if (code < 0) {
        return ShimFailure(scope, static_cast<ridgex_result>(code));
    }

    *info = ridgex_device_info{};
    info->size = sizeof(ridgex_device_info);
    const std::u16string vendor = WideText(record, kVendorOffset);
    const std::u16string product = WideText(record, kProductOffset);
    CopyText(vendor, info->vendor_name, sizeof(info->vendor_name));
    CopyText(product, info->product_name, sizeof(info->product_name));
    CopyText(WideText(record, kThirdTextOffset), info->serial_text, sizeof(info->serial_text));
    std::memcpy(info->version_words, record + kVersionWordsOffset, sizeof(info->version_words));
    const auto first_class = Read<uint32_t>(record, kFirstClassOffset);
    const auto second_class = Read<uint32_t>(record, kSecondClassOffset);
    info->class_code = first_class == 1 || first_class == 2 ? first_class : 0;
    info->type_code = second_class >= 1 && second_class <= 4 ? second_class : 0;

    int32_t failure = ReadInfoBlock(device_id, kGeometrySelector, [geometry](const uint8_t* b) {
        geometry->resolution = Read<uint32_t>(b, 0x04);
        geometry->width = Read<uint32_t>(b, 0x10);
        geometry->height = Read<uint32_t>(b, 0x14);
        if (geometry->width == 0 && geometry->height == 0) {
            geometry->width = kPlaceholderSide;
            geometry->height = kPlaceholderSide;
        }
        if (geometry->resolution == 0) {
            geometry->resolution = kDefaultResolution;
        }
    });
    if (failure >= 0) {
        failure = ReadInfoBlock(device_id, kIdentitySelector, [info](const uint8_t* b) {
            info->vid = Read<uint16_t>(b, 0x00);
            info->pid = Read<uint16_t>(b, 0x02);
            info->revision = Read<uint16_t>(b, 0x04);
        });
    }
    if (vendor.find(u"Kestrix") != std::u16string::npos ||
        product.find(u"Sablefin") != std::u16string::npos) {
        info->vid = kKestrixVid;
    }
    if (failure < 0) {
        return ShimFailure(scope, static_cast<ridgex_result>(failure));
    }

    // The identifier in the name is the one the device record carries.
    char guid[platform::guid_text_length + 1];
    platform::guid_to_text(record, guid);
    std::snprintf(info->name, sizeof(info->name), "%04x&%04x&%04x%s", info->vid, info->pid,
                  info->revision, guid);
    return RIDGEX_SUCCESS;
}

void CFpapiShim::GetDeviceCaps(const uint8_t* device_id, ridgex_device_caps* caps,
                               const ReaderGeometry& geometry) {
    CTraceScope scope("CFpapiShim::GetDeviceCaps", 0);
    std::memset(reinterpret_cast<uint8_t*>(caps) + sizeof(caps->size), 0,
                sizeof(ridgex_device_caps) - sizeof(caps->size));
    caps->size = sizeof(ridgex_device_caps);

    int32_t code = ReadInfoBlock(device_id, kCapWordsSelector, [caps](const uint8_t* b) {
        caps->cap_word_6 = Read<uint32_t>(b, 0x00);
        caps->cap_word_4 = Read<uint32_t>(b, 0x04);
        caps->cap_word_5 = Read<uint32_t>(b, 0x08);
        caps->cap_word_1 = Read<uint32_t>(b, 0x0C);
        caps->cap_word_3 = Read<uint32_t>(b, 0x10);
    });
    if (code >= 0) {
        code = ReadInfoBlock(device_id, kMoreCapWordsSelector, [caps](const uint8_t* b) {
            caps->cap_word_8 = Read<uint32_t>(b, 0x04);
        });
    }
    caps->resolution_cnt = 1;
    caps->resolutions[0] = geometry.resolution != 0 ? geometry.resolution : kDefaultResolution;
    if (code < 0) {
        ShimFailure(scope, static_cast<ridgex_result>(code));
    }
}

void CFpapiShim::ApplyModelTable(ReaderDescriptor& reader) {
    const ridgex_device_info& info = *reader.pDeviceInfo;
    const model_facts_t model = LookUpModel(info.vid, info.pid, info.revision);
    reader.pCaps->can_stream = model.can_stream;
    reader.pCaps->led_mask = model.led_mask;
    reader.pCaps->can_proc_mode1 = model.can_proc_mode1;
    reader.has_proc_2 = model.has_proc_2;
    reader.has_proc_3 = model.has_proc_3;
    reader.has_parm_f003 = model.has_parm_f003;
    reader.native_rotation = model.native_rotation;
}
