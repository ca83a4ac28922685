#include "Kernel/LocalisedString.h"
#include "Learning/RemoteResult.h"

#include "modelcache/ModelOutcomes.h"

#include <gtest/gtest.h>

namespace Learning {
namespace {

TEST(Translations, AreThoseOfTheCompiledCatalogue) {
    const auto outcome = MakeOutcome(ModelStatus::Damaged);
    const RemoteResult rejection(RemoteResult::GenerationRejectedMinors, "");
    const RemoteResult cooldown(RemoteResult::CreditsCooldown, "");
    ASSERT_TRUE(Kernel::LocalisedString::SetCatalogue(GERMAN_CATALOGUE));
    EXPECT_EQ(outcome.message.Translate(), "Das Modellpaket ist beschädigt.");
    EXPECT_EQ(rejection.GetUserMessage().Translate(),
              "Ihre Anfrage wurde vom Inhaltsfilter abgelehnt (Bezug auf Minderjährige). Bitte "
              "versuchen Sie es mit einer anderen.\r\n\r\nFehlgeschlagene Anfragen werden nicht "
              "auf Ihre Nutzung angerechnet.");
    EXPECT_EQ(cooldown.GetUserMessage().Translate(),
              "Sie müssen 0 Sekunde(n) warten, bevor Sie diese Funktion wieder verwenden können.");
    EXPECT_TRUE(Kernel::LocalisedString::SetCatalogue(""));
    EXPECT_EQ(outcome.message.Translate(), "The model package is damaged.");
}

}  // namespace
}  // namespace Learning
