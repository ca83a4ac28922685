// What the user has said of the inference service.

#pragma once

#include <string>

namespace LearningApp {

/// What is empty is not sent, or comes from elsewhere as the comments say.
struct ServiceOptions {
    std::string address;      // "HOST:PORT" in place of the service's own; else $ORVANTIS_SERVICE
    std::string certificate;  // PEM file of the authority to trust; empty: the system's
    std::string credentials;  // file that has what follows
    std::string apiUrl;
    std::string accessToken;
    std::string userId;
    std::string bearer;
    bool showsRequests = false;  // shows what would be sent, and sends nothing
};

}  // namespace LearningApp
