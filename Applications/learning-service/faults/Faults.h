// The faults of a server, by name.

#pragma once

#include "faults/Answer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Service {

struct FaultKind;

/// A set of faults. The later of two faults of one kind counts, among those for all requests and
/// those for one path.
class Faults {
public:
    /// Adds "NAME" or "NAME=VALUE", or one of them after "/PATH:" for requests of that path alone,
    /// which is compared as it comes, without its query; "/PATH*:" is for all that begin so. Throws
    /// std::runtime_error if there is no such fault.
    void Add(std::string_view text);
    /// Adds what the file at `path` says, a fault a line; blank lines and those that start with "#"
    /// say nothing, nor does a file that is not there. Throws std::runtime_error, which names the
    /// line.
    void AddFile(const std::string& path);

    /// What to do as soon as a connection is accepted; nothing for going on.
    std::optional<Server::Script> GetGreeting() const;
    /// Puts the faults into `answer`, in the order of GetFaultHelp(). The connection is not kept
    /// then.
    void Apply(Answer& answer) const;

private:
    struct Fault {
        const FaultKind* kind;
        std::string path;     // of the requests that are meant; empty for all
        std::string text;     // the value as it was given
        std::int64_t number;  // the same, for kinds that take a number
    };
    std::vector<Fault> m_faults;
};

/// One line for each fault.
std::string GetFaultHelp();

}  // namespace Service
