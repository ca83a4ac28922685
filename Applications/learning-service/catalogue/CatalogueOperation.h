// Serves the document that lists the service's models.

#pragma once

#include "operations/Operation.h"

#include <string>

namespace Service {

/// GET and HEAD of the catalogue: whole, or as "not modified".
class CatalogueOperation : public Operation {
public:
    /// Serves the file at `file`, whatever it holds, as it is at the time of each request; the
    /// default catalogue if `file` is empty. Throws Kernel::IoException if it can't be read.
    explicit CatalogueOperation(std::string file);

    Response Handle(const Server::Request& request, const std::string& path) const override;

    /// The document as it is now. Throws Kernel::IoException.
    std::string Read() const;

private:
    std::string m_file;
};

}  // namespace Service
