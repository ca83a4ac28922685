// Calls of the inference service that make pictures, which take tens of seconds.

#pragma once

#include "Learning/RemoteInference.h"

#include "commands/JobNote.h"
#include "host/Host.h"
#include "service/ServiceConnection.h"

#include <functional>
#include <string>

namespace LearningApp {

/// An operation of a client, with what hears how far it is: both null, or neither.
using PictureOperation =
    std::function<Learning::RemoteInference::Result(Learning::ProgressCallback, void* context)>;

/// Calls `operation` and shows how far it is under the name `label`. `note`, which may be null, is
/// told when the service accepts a job. Throws as CallService() does, and Interrupted as soon as
/// the user ends it; both tell how to fetch the result of a job that has been accepted, and the
/// latter whether there may be one that can't be fetched. False if requests are only shown.
[[nodiscard]] bool CallForPictures(const Host& host, const ServiceConnection& connection,
                                   const char* label, JobNote* note,
                                   const PictureOperation& operation);

/// Reads a photo that the service is to see, and perhaps to put colours into.
Kernel::Counted<Raster::DynamicBitmap> LoadForService(const Host& host, const std::string& path);

/// A client with the credentials of the connection and the models that the service offers, or if it
/// does not tell or requests are only shown, those that are known without it.
Learning::RemoteInference LoadModels(const Host& host, const ServiceConnection& connection);

}  // namespace LearningApp
