#include "inference/windows/OperationWait.h"

#include "Kernel/Counted.h"

#include "inference/windows/ComObjects.h"

#include <atomic>
#include <memory>

namespace Learning {

namespace {

// That of an object which any thread may call directly, such as that of the operation.
constexpr GUID AgileObjectId{
    0x94ea2b94, 0xe9cc, 0x49e0, {0xc0, 0xff, 0xee, 0x64, 0xca, 0x8f, 0x5b, 0x90}};
constexpr GUID UnknownId{0, 0, 0, {0xc0, 0, 0, 0, 0, 0, 0, 0x46}};

struct EventClose {
    void operator()(HANDLE event) const noexcept { CloseHandle(event); }
};

/// Lives as long as the operation refers to it: it may be called when nobody waits any more.
class CompletionHandler final : public ProviderOperationHandler, public Kernel::Countable {
public:
    CompletionHandler() : m_ended(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        CheckResult(m_ended ? S_OK : HRESULT_FROM_WIN32(GetLastError()));
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(const GUID& id, void** object) noexcept override {
        if (object == nullptr) {
            return E_POINTER;
        }
        const bool isKnown =
            IsEqualGUID(id, Id) || IsEqualGUID(id, UnknownId) || IsEqualGUID(id, AgileObjectId);
        *object = isKnown ? static_cast<ProviderOperationHandler*>(this) : nullptr;
        if (isKnown) {
            Retain();
        }
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    // The numbers that these return are for traces alone.
    ULONG STDMETHODCALLTYPE AddRef() noexcept override {
        Retain();
        return static_cast<ULONG>(GetReferenceCount());
    }
    ULONG STDMETHODCALLTYPE Release() noexcept override {
        const std::int32_t left = GetReferenceCount() - 1;
        Countable::Release();
        return static_cast<ULONG>(left);
    }

    HRESULT STDMETHODCALLTYPE Invoke(ProviderOperation* /*operation*/,
                                     std::int32_t status) noexcept override {
        m_status = status;
        SetEvent(m_ended.get());
        return S_OK;
    }

    std::int32_t Wait() const noexcept {
        WaitForSingleObject(m_ended.get(), INFINITE);
        return m_status;
    }

private:
    const std::unique_ptr<void, EventClose> m_ended;
    std::atomic<std::int32_t> m_status = OperationInfo::Started;
};

std::int32_t GetStatus(ProviderOperation& operation) {
    const auto info = Receive<OperationInfo>([&](OperationInfo** object) {
        return operation.QueryInterface(OperationInfo::Id, reinterpret_cast<void**>(object));
    });
    std::int32_t status = OperationInfo::Started;
    CheckResult(info->GetStatus(&status));
    return status;
}

std::int32_t WaitForEnd(ProviderOperation& operation) {
    const auto handler = Kernel::MakeCounted<CompletionHandler>();
    CheckResult(operation.SetCompleted(handler.Get()));
    return handler->Wait();
}

}  // namespace

void WaitFor(ProviderOperation& operation) {
    std::int32_t status = GetStatus(operation);
    if (status == OperationInfo::Started) {
        status = WaitForEnd(operation);
    }
    if (status == OperationInfo::Canceled) {
        CheckResult(HRESULT_FROM_WIN32(ERROR_CANCELLED));
    }
}

}  // namespace Learning
