#include "remote/styles/Styles.h"

#include "Kernel/NeverDestroyed.h"
#include "Learning/StyleNames.h"

namespace Learning {

// Made on first use, and never destroyed: calls may run until the process ends.

const StyleTable& StyleNameTable() {
    static Kernel::NeverDestroyed<StyleTable> table(StyleTable{
        "3D render",
        "Bokeh Photography",
        "Cinematic",
        "Cinematic Concept",
        "Creative",
        "Dynamic",
        "Fashion",
        "Pop art",
        "Vector graphic design",
        "HDR photography",
        "Illustration",
        "Macro photography",
        "Minimalist",
        "Moody",
        "Portrait photography",
        "Professional black and white photography",
        "Professional colour photography",
        "Professional film photography",
        "Fashion portrait photography",
        "Ray traced",
        "Black and white sketch",
        "Color sketch",
        "Stock photography",
        "Vibrant",
    });
    return *table;
}

std::span<const Kernel::String> GetStyleNames() {
    return StyleNameTable();
}

const StyleTable& StyleIdTable() {
    static Kernel::NeverDestroyed<StyleTable> table(StyleTable{
        "b425dac4-e142-40e5-b527-5b9e9de06518", "1c3b9e84-feee-408b-a9b4-6948aa135f0e",
        "cd12d56d-9193-4f7a-9645-abff2c87c6ca", "04f55580-2e53-4087-8521-0dda316fbcf4",
        "19f8666b-1bbc-4022-bde6-922732002e57", "b6a858d9-b14c-422c-a9f7-4e64a5980d49",
        "5ee03856-4719-433b-bfb9-0d7b24e1e238", "35baad12-eede-4655-ad20-fd97bf674beb",
        "1d8c85e6-3905-476d-a310-4caef229b059", "a3c8aa37-c3bd-4943-a8de-327a312c929c",
        "d5725e09-3c66-4438-98f8-0e31de922045", "4db62735-028d-411f-b412-57dcd2638ac1",
        "c4c21201-1400-4ea1-955d-5a03d9714998", "ac6b50fa-936c-4122-83b9-d5745deba58c",
        "334f99b0-a64c-4420-b181-90fc50915429", "f92453a6-bff0-4b0e-8353-354b4c5c3d5f",
        "308eb2b1-83ff-4160-b74f-37f05058b1ef", "5e4be23c-95f5-4fa4-ac53-e77b4bc9bc1a",
        "5fe70829-b3fe-4891-a95c-2abf31cb8483", "a477499c-e80e-4ad5-bff3-2e0f55f59f4d",
        "32a9dab4-e11e-4e6b-83e3-5b7f8ce1843b", "9df1bda4-0c1e-4d18-81db-f8633cef9147",
        "5453a998-1cc8-4bc2-9638-dc953f2a62aa", "543c5d56-1571-4561-a9ec-ce1ba5b290c7",
    });
    return *table;
}

std::span<const Kernel::String> GetStyleIds() {
    return StyleIdTable();
}

}  // namespace Learning
