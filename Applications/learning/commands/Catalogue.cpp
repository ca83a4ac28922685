#include "Kernel/Json.h"

#include "commands/Commands.h"
#include "commands/ShownRequests.h"
#include "failures/Failure.h"
#include "json/Json.h"
#include "service/ServiceConnection.h"

#include <iomanip>
#include <ostream>
#include <string_view>

namespace LearningApp {

namespace {

using Kernel::Json::Value;
using Learning::ImageToImageModel;
using Learning::TextToImageModel;

/// For example "up to 8 pictures, styles, aspects".
std::string Describe(const TextToImageModel& model) {
    std::string text = "up to " + std::to_string(model.modelMaxGenerations) + " pictures";
    const std::pair<bool, const char*> features[] = {
        {model.modelSupportsStyles, "styles"},
        {model.modelSupportsVector, "vectors"},
        {model.modelSupportsAspects, "aspects"},
        {model.modelSupportsReferenceImage, "a reference picture"},
        {model.modelSupportsReferenceImageTypes, "kinds of reference"},
        {model.modelSupportsPromptEnhancement, "better prompts"}};
    for (const auto& [isThere, name] : features) {
        text += isThere ? std::string(", ") + name : "";
    }
    return text;
}

/// For example "512 to 1536 pixels, sides of 32, square".
std::string Describe(const ImageToImageModel& model) {
    std::string text = std::to_string(model.modelMinDimension) + " to " +
                       std::to_string(model.modelMaxDimension) + " pixels";
    if (model.modelPixelAlignment > 1) {
        text += ", multiples of " + std::to_string(model.modelPixelAlignment);
    }
    return text + (model.modelMustBeSquare ? ", square" : "");
}

template <class Model>
void PrintModels(std::ostream& out, const char* use, const std::vector<Model>& models) {
    for (const Model& model : models) {
        const std::string name(std::string_view(model.modelName));
        out << std::left << std::setw(7) << use << std::setw(20) << name << ' ' << std::setw(18)
            << std::string(std::string_view(model.modelKey)) << ' ' << std::setw(9)
            << std::string(std::string_view(model.modelClass)) << ' ' << std::setw(8)
            << (model.modelIsDefault ? "default" : "") << Describe(model)
            << (model.modelDescription.empty() ? "" : ". ") << model.modelDescription << '\n';
    }
}

Value ToJson(const TextToImageModel& model) {
    return {{"modelName", model.modelName},
            {"modelDescription", model.modelDescription},
            {"modelKey", model.modelKey},
            {"modelClass", model.modelClass},
            {"modelPollStartMS", model.modelPollStartMS},
            {"modelMaxGenerations", model.modelMaxGenerations},
            {"modelSupportsStyles", model.modelSupportsStyles},
            {"modelSupportsVector", model.modelSupportsVector},
            {"modelSupportsAspects", model.modelSupportsAspects},
            {"modelSupportsReferenceImage", model.modelSupportsReferenceImage},
            {"modelSupportsReferenceImageTypes", model.modelSupportsReferenceImageTypes},
            {"modelSupportsPromptEnhancement", model.modelSupportsPromptEnhancement},
            {"modelIsDefault", model.modelIsDefault}};
}

Value ToJson(const ImageToImageModel& model) {
    return {{"modelName", model.modelName},
            {"modelDescription", model.modelDescription},
            {"modelKey", model.modelKey},
            {"modelClass", model.modelClass},
            {"modelPollStartMS", model.modelPollStartMS},
            {"modelMaxDimension", model.modelMaxDimension},
            {"modelMinDimension", model.modelMinDimension},
            {"modelPixelAlignment", model.modelPixelAlignment},
            {"modelAllowedWidths", model.modelAllowedWidths},
            {"modelAllowedHeights", model.modelAllowedHeights},
            {"modelMustBeSquare", model.modelMustBeSquare},
            {"modelIsDefault", model.modelIsDefault}};
}

template <class Model>
Value ToJsonArray(const std::vector<Model>& models) {
    Value array = Value::array();
    for (const Model& model : models) {
        array.push_back(ToJson(model));
    }
    return array;
}

}  // namespace

void ListCatalogue(const Host& host, const ServiceOptions& service,
                   const CatalogueOptions& options) {
    const ServiceConnection connection(service);
    if (connection.ShowsRequests() && !options.isOffline) {
        ShowCatalogueRequest(host, connection, "Nothing has been sent.");
        return;
    }
    // A copy, since the lists of the process's own would grow by each command.
    Learning::RemoteInference client = connection.GetClient();
    try {
        host.Time(Phase::Request, [&] { client.Init(!options.isOffline); });
    } catch (const Value::type_error&) {
        throw Failure("what the service tells is no list of models");
    }
    if (!options.isOffline && !client.HasServiceCatalogue()) {
        const std::string log = host.GetLog();
        host.Complain(
            "the service does not tell its models: these are those that are known without it",
            (log.empty() ? "" : '\n' + log) + connection.GetCure(log));
    }
    if (options.isJson) {
        host.GetOut() << EscapeHidden(Kernel::Json::ToString(
                             {{"textToImage", ToJsonArray(client.GetTextToImageModels())},
                              {"imageToImage", ToJsonArray(client.GetImageToImageModels())}}))
                      << '\n';
        return;
    }
    host.GetOut() << "USE    NAME                 KEY                CLASS              ABOUT\n";
    PrintModels(host.GetOut(), "create", client.GetTextToImageModels());
    PrintModels(host.GetOut(), "edit", client.GetImageToImageModels());
}

}  // namespace LearningApp
