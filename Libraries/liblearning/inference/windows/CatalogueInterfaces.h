// The interfaces of Windows' catalogue of execution providers, as far as they are called. Their
// identifiers, and the places of their functions, are those of the catalogue's published metadata;
// the identifiers of generic interfaces follow from those of their parts by the type system of the
// Windows Runtime. Declared here, since the headers that are made of the metadata need one vendor's
// compiler.

#pragma once

#include "inference/windows/ComObjects.h"

#include <cstdint>

namespace Learning {

/// What every object of the Windows Runtime has. Functions that are not called have no arguments
/// here.
class RuntimeObject : public ComObject {
public:
    virtual HRESULT STDMETHODCALLTYPE GetIds() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRuntimeClassName() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTrustLevel() = 0;

protected:
    ~RuntimeObject() = default;
};

/// The operation that makes the providers ready.
class ProviderOperation : public RuntimeObject {
public:
    virtual HRESULT STDMETHODCALLTYPE SetProgress() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProgress() = 0;
    /// May be called once. The handler may be called before this returns.
    virtual HRESULT STDMETHODCALLTYPE SetCompleted(class ProviderOperationHandler* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCompleted() = 0;
    /// Fails if the operation has failed.
    virtual HRESULT STDMETHODCALLTYPE GetResults(ComObject** providers) = 0;

protected:
    ~ProviderOperation() = default;
};

/// What the operation calls when it has ended.
class ProviderOperationHandler : public ComObject {
public:
    static constexpr GUID Id{
        0xc819ad74, 0x4288, 0x54d3, {0x9f, 0x49, 0x32, 0xf8, 0x9d, 0xdd, 0x87, 0x0b}};

    virtual HRESULT STDMETHODCALLTYPE Invoke(ProviderOperation* operation, std::int32_t status) = 0;

protected:
    ~ProviderOperationHandler() = default;
};

/// What every operation of the Windows Runtime tells of itself.
class OperationInfo : public RuntimeObject {
public:
    static constexpr GUID Id{0x00000036, 0, 0, {0xc0, 0, 0, 0, 0, 0, 0, 0x46}};
    static constexpr std::int32_t Started = 0;
    static constexpr std::int32_t Canceled = 2;

    virtual HRESULT STDMETHODCALLTYPE GetId() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatus(std::int32_t* status) = 0;

protected:
    ~OperationInfo() = default;
};

class ProviderCatalogue : public RuntimeObject {
public:
    virtual HRESULT STDMETHODCALLTYPE FindAllProviders() = 0;
    virtual HRESULT STDMETHODCALLTYPE
    EnsureAndRegisterCertifiedAsync(ProviderOperation** operation) = 0;

protected:
    ~ProviderCatalogue() = default;
};

/// The activation factory of the catalogue's class.
class ProviderCatalogueStatics : public RuntimeObject {
public:
    static constexpr const wchar_t* ClassName =
        L"Microsoft.Windows.AI.MachineLearning.ExecutionProviderCatalog";
    static constexpr GUID Id{
        0x550def98, 0x2611, 0x5433, {0xaf, 0xb8, 0x43, 0x67, 0x3b, 0x61, 0x08, 0x48}};

    virtual HRESULT STDMETHODCALLTYPE GetDefault(ProviderCatalogue** catalogue) = 0;

protected:
    ~ProviderCatalogueStatics() = default;
};

}  // namespace Learning
