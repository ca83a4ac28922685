// What becomes of the alpha of a picture that is edited.

#pragma once

#include "Kernel/EnumSerialiser.h"
#include "Kernel/NeverDestroyed.h"
#include "Learning/Export.h"

#include <cstdint>

namespace Learning {

/// The service edits opaque pictures: this says which alpha the result has.
enum class ImageToImageAlphaMode : std::uint32_t {
    AsReturned = 0,        // that of what the service returns
    AsInput = 1,           // that of the picture which is edited
    RemoveBackground = 2,  // the service cuts the subject out
    Automatic = 3,         // the last or the first of these, as the picture suggests
};

/// The modes as a host's files have them: by their numbers.
class LEARNING_API ImageToImageAlphaModeEnumSerialiser : public Kernel::EnumSerialiser {
public:
    static ImageToImageAlphaModeEnumSerialiser& GetInstance();

private:
    friend class Kernel::NeverDestroyed<ImageToImageAlphaModeEnumSerialiser>;

    ImageToImageAlphaModeEnumSerialiser();
};

}  // namespace Learning
