// A DLL that stands in for that of Windows' catalogue of execution providers. It has no declaration
// in common with the library: its objects are tables of functions in the order of the catalogue's
// published metadata, whose identifiers it has as texts. A call of a function that nobody needs, or
// of an object that nobody owns any more, ends the process. What goes wrong is named by the
// environment variable CATALOGUE.

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <thread>

namespace {

using Slot = const void*;
using Id = std::array<std::uint8_t, 16>;
using Result = std::int32_t;

constexpr Result Fine = 0;

constexpr Result Failure(std::uint32_t code) {
    return static_cast<Result>(code);
}

void EndProcess(unsigned code) {
    TerminateProcess(GetCurrentProcess(), 0xBAD00000U + code);
}

Result Trap() {
    EndProcess(1);
    return Failure(0x8000FFFF);
}

bool Is(std::string_view fault) {
    std::array<char, 64> text{};
    GetEnvironmentVariableA("CATALOGUE", text.data(), static_cast<DWORD>(text.size()));
    return fault == text.data();
}

/// "00112233-4455-6677-8899-aabbccddeeff" as it lies in memory.
Id ToId(std::string_view text) {
    Id id{};
    std::size_t digit = 0;
    for (const char letter : text) {
        if (letter != '-') {
            const int value = letter <= '9' ? letter - '0' : letter - 'a' + 10;
            id[digit / 2] = static_cast<std::uint8_t>(id[digit / 2] * 16 + value);
            ++digit;
        }
    }
    std::reverse(id.begin(), id.begin() + 4);
    std::reverse(id.begin() + 4, id.begin() + 6);
    std::reverse(id.begin() + 6, id.begin() + 8);
    return id;
}

std::atomic<int> activations = 0;
std::atomic<int> operations = 0;
std::atomic<int> references = 0;  // to all objects
std::atomic<int> threads = 0;

struct Object;

/// What a pointer to an interface points to.
struct Face {
    const Slot* slots = nullptr;
    std::string_view id;
    Object* object = nullptr;
};

/// Lies there for ever, so that calls that come too late are noticed.
struct Object {
    std::array<Face, 2> faces;
    std::atomic<int> references = 0;
    std::atomic<int> status = 0;
};

std::uint32_t Count(Face* face, int change) {
    if (face->object->references.fetch_add(change) + change < 0) {
        EndProcess(2);
    }
    references += change;
    return 12345;  // which is for traces alone
}

std::uint32_t Retain(Face* face) {
    return Count(face, 1);
}

std::uint32_t Release(Face* face) {
    return Count(face, -1);
}

Result Query(Face* face, const Id* id, Face** found) {
    for (Face& other : face->object->faces) {
        if (!other.id.empty() && ToId(other.id) == *id) {
            Retain(&other);
            *found = &other;
            return Fine;
        }
    }
    *found = nullptr;
    return Failure(0x80004002);
}

template <class Function>
Slot At(Function* function) {
    return reinterpret_cast<Slot>(function);
}

/// The functions that every object has, and those of its own from slot 6 on.
template <class... Functions>
std::array<Slot, 16> Table(Functions*... functions) {
    std::array<Slot, 16> table{At(Query), At(Retain), At(Release),     At(Trap),
                               At(Trap),  At(Trap),   At(functions)...};
    std::replace(table.begin(), table.end(), Slot(nullptr), At(Trap));
    return table;
}

Face* MakeObject(const Slot* slots, std::string_view id, const Slot* otherSlots = nullptr,
                 std::string_view otherId = {}) {
    auto* const object = new Object;
    object->faces = {Face{slots, id, object}, Face{otherSlots, otherId, object}};
    Retain(object->faces.data());
    return object->faces.data();
}

template <int Index, class... Arguments>
auto Call(void* object, Arguments... arguments) {
    using Function = Result(void*, Arguments...);
    return reinterpret_cast<Function*>(const_cast<void*>((*static_cast<Slot**>(object))[Index]))(
        object, arguments...);
}

/// Whether `handler` answers what it must, and nothing else.
void CheckHandler(void* handler) {
    const auto check = [&](std::string_view text, Result expected) {
        const Id id = ToId(text);
        void* face = &face;
        const bool isRight =
            Call<0>(handler, &id, &face) == expected && (face != nullptr) == (expected == Fine);
        if (!isRight) {
            EndProcess(3);
        }
        if (face != nullptr) {
            Call<2>(face);
        }
    };
    check("c819ad74-4288-54d3-9f49-32f89ddd870b", Fine);
    check("00000000-0000-0000-c000-000000000046", Fine);
    check("94ea2b94-e9cc-49e0-c0ff-ee64ca8f5b90", Fine);
    check("af86e2e0-b12d-4c6a-9c5a-d7aa65101e90", Failure(0x80004002));
}

void Complete(Face* operation, void* handler) {
    const int status = Is("cancel") ? 2 : Is("error") ? 3 : 1;
    operation->object->status = status;
    CheckHandler(handler);
    Call<3>(handler, static_cast<void*>(operation), status);
    if (Is("twice")) {
        Sleep(50);
        Call<3>(handler, static_cast<void*>(operation), 3);
    }
    Call<2>(handler);
    Release(operation);
}

Result SetCompleted(Face* operation, void* handler) {
    Call<1>(handler);
    Retain(operation);
    if (Is("at once")) {
        Complete(operation, handler);
        return Fine;
    }
    ++threads;
    std::thread([operation, handler] {
        Sleep(50);
        Complete(operation, handler);
        --threads;
    }).detach();
    return Is("refuse") ? Failure(0x8000000B) : Fine;
}

Result GetResults(Face* operation, Face** providers) {
    static const auto vector = Table();
    const int status = operation->object->status;
    *providers =
        status == 1 ? MakeObject(vector.data(), "e8096b87-1eee-5237-874d-b48b5253cadb") : nullptr;
    return status == 1 ? Fine : Failure(status == 3 ? 0x80072EE7 : 0x8000000E);
}

Result GetStatus(Face* info, std::int32_t* status) {
    *status = info->object->status;
    return Fine;
}

Result EnsureAndRegister(Face* /*catalogue*/, Face** operation) {
    static const auto slots = Table(&Trap, &Trap, &SetCompleted, &Trap, &GetResults);
    static const auto infoSlots = Table(&Trap, &GetStatus);
    ++operations;
    if (Is("ensure")) {
        return Failure(0x80070005);
    }
    *operation = MakeObject(slots.data(), "2400b66a-d1b1-5e7f-8acd-421a23771880", infoSlots.data(),
                            "00000036-0000-0000-c000-000000000046");
    (*operation)->object->status = Is("done") ? 1 : 0;
    return Fine;
}

Result GetDefault(Face* /*statics*/, Face** catalogue) {
    static const auto slots = Table(&Trap, &EnsureAndRegister);
    if (Is("default")) {
        return Failure(0x80004001);
    }
    *catalogue =
        Is("nothing") ? nullptr : MakeObject(slots.data(), "aa9bfe14-2222-5921-8002-4d2a205ea03c");
    return Fine;
}

/// Whether this is the DLL of the innermost namespace, which some faults are meant for.
bool IsInnermost() {
    return GetModuleHandleW(L"Microsoft.Windows.AI.MachineLearning.dll") != nullptr &&
           GetModuleHandleW(L"Microsoft.Windows.AI.dll") == nullptr;
}

}  // namespace

/// `name`: a string of the Windows Runtime, whose text only its own functions tell.
extern "C" __declspec(dllexport) Result DllGetActivationFactory(void* name, Face** factory) {
    using GetText = const wchar_t*(void* name, std::uint32_t* length);
    const FARPROC function =
        GetProcAddress(LoadLibraryW(L"combase.dll"), "WindowsGetStringRawBuffer");
    const auto getText = reinterpret_cast<GetText*>(reinterpret_cast<void*>(function));
    if (std::wcscmp(getText(name, nullptr),
                    L"Microsoft.Windows.AI.MachineLearning.ExecutionProviderCatalog") != 0) {
        return Failure(0x80040111);
    }
    if (Is("innermost fails") && IsInnermost()) {
        return Failure(0x80004005);
    }
    const bool isOther = Is("innermost is another") && IsInnermost();
    static const auto slots = Table(&Trap);
    static const auto staticsSlots = Table(&GetDefault);
    ++activations;
    *factory = MakeObject(slots.data(), "00000035-0000-0000-c000-000000000046",
                          isOther ? nullptr : staticsSlots.data(),
                          isOther ? "" : "550def98-2611-5433-afb8-43673b610848");
    return Fine;
}

/// What has happened here, when its threads have ended.
extern "C" __declspec(dllexport) void GetReport(char* text, std::size_t size) {
    while (threads > 0) {
        Sleep(1);
    }
    std::snprintf(text, size, "%s, %d operations, %d references",
                  activations > 0 ? "used" : "not used", operations.load(), references.load());
}

/// A DLL that is freed has given back all of its objects.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, void* processEnds) {
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr && references != 0) {
        EndProcess(4);
    }
    return TRUE;
}
