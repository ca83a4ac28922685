#include "drawing/Scene.h"

#include "drawing/Land.h"
#include "drawing/PromptWords.h"
#include "drawing/Random.h"
#include "drawing/Sky.h"
#include "drawing/Stage.h"
#include "drawing/Wide.h"

namespace Service {

namespace {

struct Subject {
    const char* words;
    void (*draw)(const Stage& stage);
    bool isInSpace = false;  // where there are neither sun nor clouds
};

constexpr Subject Subjects[] = {
    {"mountain alps peak hill valley rock cliff landscape", DrawMountains},
    {"sea ocean beach lake boat ship sail island harbour harbor water coast", DrawSea},
    {"city town skyline building street house castle tower architecture office", DrawCity},
    {"forest tree wood jungle park pine bear deer wolf", DrawForest},
    {"desert sand dune camel sahara canyon", DrawDunes},
    {"space planet galaxy nebula rocket astronaut star universe", DrawPlanets, true},
    {"flower meadow garden rose field grass bee butterfly cat dog horse rabbit", DrawMeadow},
    {"abstract pattern texture art music dream emotion background wallpaper", DrawFlow},
};

const Subject& ChooseSubject(const PromptWords& words, std::uint64_t seed) {
    for (const Subject& subject : Subjects) {
        if (words.HasAny(subject.words)) {
            return subject;
        }
    }
    return Subjects[Random(seed).Below(static_cast<int>(std::size(Subjects)))];
}

void MakeOpaque(const Raster::PixelView& view) {
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            GetPixel(view, x, y)[3] = 255;
        }
    }
}

}  // namespace

PicturePointer DrawScene(const SceneRequest& request, int width, int height) {
    const PromptWords words(request.prompt);
    const PromptWords unwanted(request.negativePrompt);
    const std::uint64_t content = HashText(request.prompt);
    const Subject& subject = ChooseSubject(words, content);
    PicturePointer picture = MakePicture(width, height);
    Stage stage{picture->GetHostView(), request.palette.value_or(ChoosePalette(words, content)),
                Scramble(content ^ HashText(request.negativePrompt)) + request.variant * 7919};
    stage.palette.accent = FindNamedColour(words, stage.palette.accent);
    MakeOpaque(stage.view);
    DrawSky(stage, {!subject.isInSpace && !unwanted.HasAny("sun moon light"),
                    !subject.isInSpace && !unwanted.HasAny("cloud"), subject.isInSpace});
    subject.draw(stage);
    return picture;
}

}  // namespace Service
