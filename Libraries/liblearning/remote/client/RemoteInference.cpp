#include "Learning/RemoteInference.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Environment.h"
#include "Kernel/Json.h"

#include "remote/catalogue/Catalogue.h"
#include "remote/catalogue/CatalogueReader.h"

#include <utility>

namespace Learning {

using Kernel::Json::Value;

RemoteInference::Configuration::Configuration() noexcept = default;

RemoteInference::Configuration::Configuration(const Configuration& other)
    : m_value(other.m_value ? std::make_unique<Value>(*other.m_value) : nullptr) {}

RemoteInference::Configuration::Configuration(Configuration&& other) noexcept = default;

RemoteInference::Configuration& RemoteInference::Configuration::operator=(
    Configuration other) noexcept {
    m_value.swap(other.m_value);
    return *this;
}

RemoteInference::Configuration::~Configuration() = default;

Value& RemoteInference::Configuration::Get() {
    if (!m_value) {
        m_value = std::make_unique<Value>();
    }
    return *m_value;
}

RemoteInference& RemoteInference::GetInstance() {
    // Operations of other threads use it until the process ends.
    static Kernel::NeverDestroyed<RemoteInference> instance;
    return *instance;
}

RemoteInference::RemoteInference() {
    if (std::optional<Kernel::String> bearer = Kernel::GetEnv("OrvantisCustomInferenceBearer")) {
        m_customBearer = *std::move(bearer);
        Kernel::Trace::Write("Learning: Custom inference bearer: %1\r\n", m_customBearer);
    }
}

RemoteInference::RemoteInference(const RemoteInference& other) = default;

RemoteInference::RemoteInference(RemoteInference&& other) noexcept = default;

RemoteInference& RemoteInference::operator=(const RemoteInference& other) = default;

RemoteInference& RemoteInference::operator=(RemoteInference&& other) noexcept = default;

RemoteInference::~RemoteInference() = default;

void RemoteInference::Init(bool online) {
    Value& configuration = m_configuration.Get();
    std::optional<Value> downloaded = online ? DownloadCatalogue() : std::nullopt;
    m_hasServiceCatalogue = downloaded.has_value();
    configuration = downloaded ? *std::move(downloaded) : MakeDefaultCatalogue();
    // Both before either is read: what is no object throws here.
    const Value& textToImage = configuration["textToImage"];
    const Value& imageToImage = configuration["imageToImage"];
    ReadModels(textToImage, m_textToImage, m_defaultTextToImage);
    ReadModels(imageToImage, m_imageToImage, m_defaultImageToImage);
}

void RemoteInference::SetMirelAccessTokens(Kernel::String apiUrl, Kernel::String accessToken,
                                           Kernel::String userId) {
    m_apiUrl = std::move(apiUrl);
    m_accessToken = std::move(accessToken);
    m_userId = std::move(userId);
}

void RemoteInference::SetCustomBearer(Kernel::String bearer) {
    m_customBearer = std::move(bearer);
}

Value RemoteInference::GenerateStandardRequestJSON() const {
    constexpr int ClientBuild = 32'000;
    return {{"mirel_api_url", m_apiUrl},
            {"mirel_access_token", m_accessToken},
            {"mirel_user_id", m_userId},
            {"client_build", ClientBuild},
            {"custom_bearer", m_customBearer}};
}

}  // namespace Learning
