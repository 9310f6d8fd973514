#include "readers.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

namespace fprint {
namespace {

constexpr char kRemovedKey[] = "ridgex-removed";
constexpr char kWatchedKey[] = "ridgex-watched";

// A reader stays listed until libfprint says that it was unplugged, which
// may come before libfprint drops it from its own list.
void WatchRemoval(FpDevice* device) {
    if (g_object_get_data(G_OBJECT(device), kWatchedKey) != nullptr) {
        return;
    }
    g_object_set_data(G_OBJECT(device), kWatchedKey, GINT_TO_POINTER(1));
    g_signal_connect(device, "removed", G_CALLBACK(+[](FpDevice* removed, gpointer) {
                         g_object_set_data(G_OBJECT(removed), kRemovedKey, GINT_TO_POINTER(1));
                     }),
                     nullptr);
}

void MakeVirtualImageReader(GMainContext* own, std::vector<FpDevice*>& extra) {
    const char* socket = g_getenv("FP_VIRTUAL_IMAGE");
    const GType type = g_type_from_name("FpDeviceVirtualImage");
    if (socket == nullptr || socket[0] == '\0' || type == 0) {
        return;
    }
    struct made_t {
        bool done = false;
        FpDevice* device = nullptr;
    } made;
    g_async_initable_new_async(
        type, G_PRIORITY_DEFAULT, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            auto* made = static_cast<made_t*>(data);
            GObject* object =
                g_async_initable_new_finish(G_ASYNC_INITABLE(source), result, nullptr);
            made->device = object != nullptr ? FP_DEVICE(object) : nullptr;
            made->done = true;
        },
        &made, "fpi-environ", socket, nullptr);
    while (!made.done) {
        g_main_context_iteration(own, TRUE);
    }
    if (made.device != nullptr) {
        extra.push_back(made.device);
    }
}

// libfprint keeps a USB reader's GUsbDevice in a construct property and has
// no getter for the ids; libgusb is loaded with libfprint, so its two
// getters are looked up there instead of linking it a second time.
void UsbIds(FpDevice* device, uint16_t& vid, uint16_t& pid) {
    vid = pid = 0;
    GParamSpec* property =
        g_object_class_find_property(G_OBJECT_GET_CLASS(device), "fpi-usb-device");
    if (property == nullptr || (property->flags & G_PARAM_READABLE) == 0) {
        return;
    }
    GObject* usb = nullptr;
    g_object_get(device, "fpi-usb-device", &usb, nullptr);
    if (usb == nullptr) {
        return;
    }
    if (void* gusb = dlopen("libgusb.so.2", RTLD_NOW | RTLD_NOLOAD)) {
        using getter = guint16 (*)(GObject*);
        auto get_vid = reinterpret_cast<getter>(dlsym(gusb, "g_usb_device_get_vid"));
        auto get_pid = reinterpret_cast<getter>(dlsym(gusb, "g_usb_device_get_pid"));
        if (get_vid != nullptr && get_pid != nullptr) {
            vid = get_vid(usb);
            pid = get_pid(usb);
        }
        dlclose(gusb);
    }
    g_object_unref(usb);
}

void CopyText(char (&field)[128], const char* text, size_t length) {
    std::snprintf(field, sizeof(field), "%.*s", static_cast<int>(length), text);
}

}  // namespace

bool EnumerateOnce(FpContext* context, GMainContext* own, std::vector<FpDevice*>& extra) {
    GMainContext* global = g_main_context_default();
    if (!g_main_context_acquire(global)) {
        MakeVirtualImageReader(own, extra);
        return false;
    }
    // The devices' start-up results must come back on the context that the
    // enumeration iterates.
    g_main_context_pop_thread_default(own);
    fp_context_enumerate(context);
    g_main_context_push_thread_default(own);
    g_main_context_release(global);
    return true;
}

std::vector<FpDevice*> CaptureReaders(FpContext* context, const std::vector<FpDevice*>& extra) {
    std::vector<FpDevice*> all;
    if (context != nullptr) {
        GPtrArray* devices = fp_context_get_devices(context);
        all.assign(reinterpret_cast<FpDevice**>(devices->pdata),
                   reinterpret_cast<FpDevice**>(devices->pdata) + devices->len);
    }
    all.insert(all.end(), extra.begin(), extra.end());
    std::vector<FpDevice*> readers;
    for (FpDevice* device : all) {
        WatchRemoval(device);
        if (fp_device_has_feature(device, FP_DEVICE_FEATURE_CAPTURE) &&
            g_object_get_data(G_OBJECT(device), kRemovedKey) == nullptr) {
            readers.push_back(device);
        }
    }
    return readers;
}

std::string ReaderName(FpDevice* device) {
    return std::string(fp_device_get_driver(device)) + "/" + fp_device_get_device_id(device);
}

// libfprint gives one text, maker first ("AuthenTec AES2501"): its first
// word is the maker, the whole text the model.
void FillDeviceInfo(FpDevice* device, ridgex_device_info& info) {
    std::memset(&info, 0, sizeof(info));
    info.size = sizeof(info);
    std::snprintf(info.name, sizeof(info.name), "%s", ReaderName(device).c_str());
    const char* model = fp_device_get_name(device);
    CopyText(info.vendor_name, model, std::strcspn(model, " "));
    CopyText(info.product_name, model, std::strlen(model));
    UsbIds(device, info.vid, info.pid);
}

}  // namespace fprint
