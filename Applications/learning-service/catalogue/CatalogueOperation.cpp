#include "catalogue/CatalogueOperation.h"

#include "Kernel/HashAccumulator.h"

#include "catalogue/DefaultCatalogue.h"
#include "files/TextFile.h"
#include "operations/EntityTag.h"

#include <span>

namespace Service {

namespace {

std::string MakeCatalogueTag(const std::string& text) {
    Kernel::HashAccumulator hash;
    hash.Add(std::as_bytes(std::span(text)));
    return '"' + std::to_string(hash.GetHash()) + '"';
}

}  // namespace

CatalogueOperation::CatalogueOperation(std::string file) : m_file(std::move(file)) {
    Read();  // so that a wrong name shows at once
}

std::string CatalogueOperation::Read() const {
    constexpr std::size_t MaxSize = std::size_t{64} << 20;
    return m_file.empty() ? std::string(DefaultCatalogue) : ReadTextFile(m_file, MaxSize);
}

Response CatalogueOperation::Handle(const Server::Request& request,
                                    const std::string& /*path*/) const {
    if (request.method != "GET" && request.method != "HEAD") {
        return Refuse(405, "the catalogue can only be fetched", {{"Allow", "GET, HEAD"}});
    }
    std::string text = Read();
    const std::string tag = MakeCatalogueTag(text);
    if (HasCopy(request, tag)) {
        return {304, {{"ETag", tag}}, {}};
    }
    return {200,
            {{"Content-Type", "application/json"}, {"Cache-Control", "no-cache"}, {"ETag", tag}},
            std::move(text)};
}

}  // namespace Service
