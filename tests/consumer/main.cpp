// A program outside this project that links Orvantis::Learning alone and uses one of every family
// of symbols that the libraries export. Ends with 0, or with 3 if there is no inference runtime.

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/Base64OutStream.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Dispatch.h"
#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/HashAccumulator.h"
#include "Kernel/IoException.h"
#include "Kernel/LocalisedString.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Semaphore.h"
#include "Kernel/Timer.h"
#include "Kernel/Utf.h"
#include "Kernel/ZipArchive.h"
#include "Learning/Model.h"
#include "Learning/ModelCache.h"
#include "Network/DownloadCache.h"
#include "Network/Routes.h"
#include "Network/Settings.h"

#include <array>
#include <iostream>

namespace {

void UseKernel() {
    const Kernel::Timer timer;
    Kernel::HashAccumulator hash;
    hash.Add(Kernel::FromUtf16(u"text"));
    std::array<int, 10> numbers{};
    Kernel::Dispatch::DispatchParallelFor([](int& number) { number = 1; }, numbers.size(),
                                          numbers.data(), Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
    Kernel::Semaphore done;
    Kernel::Dispatch::DispatchAndForget([&done] { done.Signal(); },
                                        Kernel::Dispatch::Priority::Normal,
                                        Kernel::Dispatch::ThreadPurpose::Background);
    done.Wait();
    const Kernel::String path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.tmp");
    Kernel::FileOutStream::Create(path)->Write(std::as_bytes(std::span(numbers)));
    Kernel::FastFileInStream::Open(path, 16)->CopyTo(
        *Kernel::MakeCounted<Kernel::MemoryInOutStream>());
    Kernel::FileSystem::DeleteAll(path);
    Kernel::Trace::Write("%1 %2 %3\r\n", hash.GetHash(), timer.GetElapsedMilliseconds(),
                         Kernel::LocalisedString::CreateFakeFromString("text").GetText());
}

void UseStreams() {
    const auto memory = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    Kernel::MakeCounted<Kernel::Base64OutStream>(memory)->FlushBase64();
    const Kernel::String path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.tmp");
    Kernel::AtomicFileOutStream::Create(path)->Commit();
    Kernel::FileSystem::Delete(path);
    try {
        const Kernel::ZipArchive archive(memory);
    } catch (const Kernel::IoException& error) {
        Kernel::Log::Write("As it should be: %1\n", error.what());
    }
}

/// Whether a request without an address fails, and before anything is sent.
bool UseNetwork() {
    Network::SetProxy("");
    const Network::ScopedRoute route("nowhere.invalid", "127.0.0.1", 1);
    Network::DownloadCache("nowhere").Invalidate("nothing");
    return !Network::Http::DoRequest(Network::Http::Request{}, false).failure.empty();
}

bool UseLearning() {
    Learning::ModelCache::GetInstance().SetModelCacheFolder("nowhere");
    Learning::Model::TensorMap outputs{
        {"y", Kernel::MakeCounted<Learning::Tensor>(std::vector<int>{2, 2}, 1.0F)}};
    return Learning::Model({}, Learning::Model::CPUOnly).IsValid() &&
           outputs["y"]->GetValueAtKeyedSubscript({1, 1}) == 1.0F;
}

}  // namespace

int main() {
    UseKernel();
    UseStreams();
    try {
        return UseNetwork() && UseLearning() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 3;
    }
}
