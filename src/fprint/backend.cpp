#include "backend.h"

#include <memory>

#include "platform/event.h"
#include "readers.h"

namespace fprint {
namespace {

ridgex_result OpenStatus(GError* error) {
    if (error == nullptr) {
        return RIDGEX_SUCCESS;
    }
    const bool busy = g_error_matches(error, FP_DEVICE_ERROR, FP_DEVICE_ERROR_ALREADY_OPEN);
    g_error_free(error);
    return busy ? RIDGEX_E_DEVICE_BUSY : RIDGEX_E_DEVICE_FAILURE;
}

// Gives back what a session holds of the worker's; on the worker.
void Release(session_t& session) {
    if (session.cancel_source != nullptr) {
        g_source_destroy(session.cancel_source);
        g_source_unref(session.cancel_source);
        session.cancel_source = nullptr;
    }
    g_clear_object(&session.device);
}

}  // namespace

backend_t& backend_t::instance() {
    static backend_t backend;
    return backend;
}

ridgex_result backend_t::Init() {
    if (context_ != nullptr) {
        return RIDGEX_SUCCESS;
    }
    if (!worker_.Start()) {
        return RIDGEX_E_FAILURE;
    }
    context_ = RunOn<FpContext*>(worker_, [this](pending_t<FpContext*>& made) {
        FpContext* context = fp_context_new();
        enumerated_ = EnumerateOnce(context, worker_.context(), extra_);
        made.Set(context);
    });
    return RIDGEX_SUCCESS;
}

ridgex_result backend_t::Exit() {
    if (context_ == nullptr) {
        return RIDGEX_SUCCESS;
    }
    RunOn<bool>(worker_, [this](pending_t<bool>& done) {
        for (FpDevice* device : extra_) {
            g_object_unref(device);
        }
        extra_.clear();
        g_clear_object(&context_);
        done.Set(true);
    });
    worker_.Stop();
    // Readers may change while the library is stopped.
    std::lock_guard guard(geometry_lock_);
    geometries_.clear();
    return RIDGEX_SUCCESS;
}

ridgex_result backend_t::QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    if (context_ == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_cnt == nullptr || (*dev_cnt != 0 && dev_infos == nullptr)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const uint32_t room = *dev_cnt;
    *dev_cnt = RunOn<uint32_t>(worker_, [&](pending_t<uint32_t>& found) {
        const std::vector<FpDevice*> readers = Readers();
        for (uint32_t i = 0; i < readers.size() && i < room; ++i) {
            FillDeviceInfo(readers[i], dev_infos[i]);
        }
        found.Set(static_cast<uint32_t>(readers.size()));
    });
    return *dev_cnt > room ? RIDGEX_E_MORE_DATA : RIDGEX_SUCCESS;
}

ridgex_result backend_t::Open(const char* dev_name, ridgex_handle* pdev) {
    if (context_ == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_name == nullptr || pdev == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    auto session = std::make_unique<session_t>();
    session->name = dev_name;
    session->cancel_event = platform::event_create();
    if (session->cancel_event < 0) {
        return RIDGEX_E_FAILURE;
    }
    ridgex_result status = RunOn<ridgex_result>(worker_, [&](pending_t<ridgex_result>& opened) {
        for (FpDevice* device : Readers()) {
            if (ReaderName(device) == session->name) {
                session->device = FP_DEVICE(g_object_ref(device));
                WatchCancel(*session);
                fp_device_open(
                    device, nullptr,
                    [](GObject* source, GAsyncResult* result, gpointer data) {
                        GError* error = nullptr;
                        fp_device_open_finish(FP_DEVICE(source), result, &error);
                        static_cast<pending_t<ridgex_result>*>(data)->Set(OpenStatus(error));
                    },
                    &opened);
                return;
            }
        }
        opened.Set(RIDGEX_E_INVALID_DEVICE);
    });
    for (auto& slot : sessions_) {
        session_t* free_slot = nullptr;
        if (status == RIDGEX_SUCCESS && slot.compare_exchange_strong(free_slot, session.get())) {
            *pdev = session.release();
            return RIDGEX_SUCCESS;
        }
    }
    // Either the open failed or more readers are open than the table holds.
    Shut(*session, status == RIDGEX_SUCCESS);
    return status == RIDGEX_SUCCESS ? RIDGEX_E_FAILURE : status;
}

ridgex_result backend_t::Close(ridgex_handle dev) {
    session_t* session = Find(dev);
    if (session == nullptr) {
        return RIDGEX_E_INVALID_DEVICE;
    }
    for (auto& slot : sessions_) {
        session_t* expected = session;
        slot.compare_exchange_strong(expected, nullptr);
    }
    Shut(*session, true);
    delete session;
    return RIDGEX_SUCCESS;
}

void backend_t::Shut(session_t& session, bool opened) {
    RunOn<bool>(worker_, [&](pending_t<bool>& closed) {
        if (!opened || session.device == nullptr) {
            closed.Set(true);
            return;
        }
        // An unplugged reader fails to close; it is gone all the same.
        fp_device_close(
            session.device, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer data) {
                fp_device_close_finish(FP_DEVICE(source), result, nullptr);
                static_cast<pending_t<bool>*>(data)->Set(true);
            },
            &closed);
    });
    RunOn<bool>(worker_, [&](pending_t<bool>& done) {
        Release(session);
        done.Set(true);
    });
    platform::event_close(session.cancel_event);
}

std::vector<FpDevice*> backend_t::Readers() const {
    return CaptureReaders(enumerated_ ? context_ : nullptr, extra_);
}

session_t* backend_t::Find(ridgex_handle dev) const {
    if (dev == nullptr) {
        return nullptr;
    }
    for (const auto& slot : sessions_) {
        if (slot.load() == dev) {
            return static_cast<session_t*>(dev);
        }
    }
    return nullptr;
}

uint32_t backend_t::FingerStatus(session_t& session) {
    return RunOn<uint32_t>(worker_, [&](pending_t<uint32_t>& status) {
        status.Set(fp_device_get_finger_status(session.device));
    });
}

geometry_t backend_t::Geometry(const std::string& name) {
    std::lock_guard guard(geometry_lock_);
    const auto known = geometries_.find(name);
    return known != geometries_.end() ? known->second : geometry_t{};
}

void backend_t::Remember(const std::string& name, const geometry_t& geometry) {
    std::lock_guard guard(geometry_lock_);
    geometries_[name] = geometry;
    geometries_[name].known = true;
}

}  // namespace fprint
