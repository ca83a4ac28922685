// Windows has a catalogue of execution providers that are certified for the machine. It downloads
// those that are missing, and registers each with the inference runtime.

#include "inference/ExecutionProviders.h"
#include "inference/windows/CatalogueInterfaces.h"
#include "inference/windows/ClassActivation.h"
#include "inference/windows/ComObjects.h"
#include "inference/windows/OperationWait.h"

#include <atomic>

namespace Learning {

namespace {

ComOwner<ProviderCatalogueStatics> ActivateCatalogue() {
    auto factory =
        GetActivationFactory(ProviderCatalogueStatics::ClassName, ProviderCatalogueStatics::Id);
    return ComOwner<ProviderCatalogueStatics>(
        static_cast<ProviderCatalogueStatics*>(factory.release()));
}

/// The factory that was found first, which is kept for the life of the process.
ProviderCatalogueStatics& GetCatalogueStatics() {
    static constinit std::atomic<ProviderCatalogueStatics*> kept{nullptr};
    if (ProviderCatalogueStatics* const statics = kept) {
        return *statics;
    }
    auto mine = ActivateCatalogue();
    ProviderCatalogueStatics* others = nullptr;  // of a thread that was faster
    return kept.compare_exchange_strong(others, mine.get()) ? *mine.release() : *others;
}

}  // namespace

// The runtime's environment, in which the catalogue registers the providers, is there: the caller
// has it.
void RegisterExecutionProviders(RuntimeEnvironment& /*environment*/) {
    ProviderCatalogueStatics& statics = GetCatalogueStatics();
    const auto catalogue = Receive<ProviderCatalogue>(
        [&](ProviderCatalogue** object) { return statics.GetDefault(object); });
    const auto operation = Receive<ProviderOperation>([&](ProviderOperation** object) {
        return catalogue->EnsureAndRegisterCertifiedAsync(object);
    });
    WaitFor(*operation);
    // Whether the operation went well. The list of providers is not used.
    ComObject* providers = nullptr;
    CheckResult(operation->GetResults(&providers));
    const ComOwner<ComObject> unused(providers);
}

}  // namespace Learning
