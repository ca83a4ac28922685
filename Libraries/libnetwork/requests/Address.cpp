#include "requests/Address.h"

#include "Kernel/Format.h"
#include "Kernel/Utf.h"
#include "Network/HttpException.h"

#include <algorithm>
#include <new>
#include <string_view>

namespace Network {

namespace {

// A limit on untrusted input; servers accept less.
constexpr std::size_t MaximumLength = 65'536;
constexpr std::size_t MaximumDescription = 300;

constexpr unsigned int ParsingFlags = CURLU_URLENCODE | CURLU_NON_SUPPORT_SCHEME;

bool IsControl(char c) noexcept {
    return static_cast<unsigned char>(c) < ' ' || c == 0x7F;
}

CurlAddress MakeAddress() {
    CurlAddress address(curl_url());
    if (!address) {
        throw std::bad_alloc();
    }
    return address;
}

[[noreturn]] void Refuse(const Kernel::String& address, const char* reason) {
    throw Http::Exception(
        Kernel::Format("\"%1\" is no address of the web: %2", DescribeAddress(address), reason)
            .c_str(),
        Http::FailureReason::Invalid);
}

/// The part `what` of an address; empty if it has none.
Kernel::String GetPart(const CurlAddress& address, CURLUPart what, unsigned int flags = 0) {
    char* text = nullptr;
    curl_url_get(address.get(), what, &text, flags);
    const CurlText owner(text);
    return text;
}

/// `text` is what `address` was parsed from.
void CheckServer(const CurlAddress& address, const Kernel::String& text) {
    const Kernel::String scheme = GetPart(address, CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") {
        Refuse(text, "only http and https are");
    }
    if (GetPart(address, CURLUPART_PORT) == "0") {
        Refuse(text, "there is no port 0");
    }
}

Kernel::String Shorten(std::string_view text) {
    return Kernel::MakePrintable(text.substr(0, MaximumDescription));
}

/// What may be shown of an address that can't be parsed.
Kernel::String DescribeBadAddress(std::string_view address) {
    if (address.find('@') != std::string_view::npos) {
        return "...";  // the end of a password can't be found
    }
    return Shorten(address.substr(0, address.find_first_of("?#")));
}

void AddParameters(CURLU* address, const Http::Fields& parameters) {
    for (const auto& [name, value] : parameters) {
        // libcurl encodes all but the first "=", so one in a name is encoded here.
        const CurlText encodedName(
            curl_easy_escape(nullptr, name.data(), static_cast<int>(name.size())));
        const CurlText encodedValue(
            curl_easy_escape(nullptr, value.data(), static_cast<int>(value.size())));
        if (!encodedName || !encodedValue) {
            throw std::bad_alloc();
        }
        const Kernel::String pair = Kernel::Format("%1=%2", encodedName.get(), encodedValue.get());
        if (curl_url_set(address, CURLUPART_QUERY, pair.c_str(), CURLU_APPENDQUERY) != CURLUE_OK) {
            throw std::bad_alloc();
        }
    }
}

}  // namespace

CurlAddress ParseAddress(const Http::Request& request) {
    const std::string_view text = request.address;
    if (text.size() > MaximumLength) {
        Refuse("...", "it is too long");
    }
    if (std::ranges::any_of(text, IsControl)) {
        Refuse(request.address, "it has control characters");
    }
    CurlAddress address = MakeAddress();
    const CURLUcode code =
        curl_url_set(address.get(), CURLUPART_URL, request.address.c_str(), ParsingFlags);
    if (code != CURLUE_OK) {
        Refuse(request.address, curl_url_strerror(code));
    }
    CheckServer(address, request.address);
    AddParameters(address.get(), request.parameters);
    return address;
}

CurlAddress ResolveRedirect(const CurlAddress& base, const Kernel::String& location) {
    CurlAddress address(curl_url_dup(base.get()));
    if (!address) {
        throw std::bad_alloc();
    }
    const CURLUcode code =
        curl_url_set(address.get(), CURLUPART_URL, location.c_str(), ParsingFlags);
    if (code != CURLUE_OK) {
        Refuse(location, curl_url_strerror(code));
    }
    CheckServer(address, location);
    if (HasSameOrigin(base, address) && GetPart(address, CURLUPART_USER).empty()) {
        for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD}) {
            const Kernel::String text = GetPart(base, part);
            curl_url_set(address.get(), part, text.empty() ? nullptr : text.c_str(), 0);
        }
    }
    return address;
}

bool HasSameOrigin(const CurlAddress& left, const CurlAddress& right) {
    const auto isSame = [&](CURLUPart part) {
        return GetPart(left, part, CURLU_DEFAULT_PORT) == GetPart(right, part, CURLU_DEFAULT_PORT);
    };
    // libcurl keeps schemes in lower case.
    return isSame(CURLUPART_SCHEME) && isSame(CURLUPART_PORT) &&
           curl_strequal(GetPart(left, CURLUPART_HOST).c_str(),
                         GetPart(right, CURLUPART_HOST).c_str()) != 0;
}

Kernel::String GetOrigin(const CurlAddress& address) {
    return Kernel::Format("%1://%2:%3", GetPart(address, CURLUPART_SCHEME),
                          GetPart(address, CURLUPART_HOST),
                          GetPart(address, CURLUPART_PORT, CURLU_DEFAULT_PORT));
}

bool IsEncrypted(const CurlAddress& address) {
    return GetPart(address, CURLUPART_SCHEME) == "https";
}

Kernel::String DescribeAddress(const Kernel::String& address) {
    const CurlAddress parts = MakeAddress();
    if (curl_url_set(parts.get(), CURLUPART_URL, address.c_str(), ParsingFlags) != CURLUE_OK) {
        return DescribeBadAddress(address);
    }
    for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS,
                                 CURLUPART_QUERY, CURLUPART_FRAGMENT}) {
        curl_url_set(parts.get(), part, nullptr, 0);
    }
    return Shorten(GetPart(parts, CURLUPART_URL));
}

}  // namespace Network
