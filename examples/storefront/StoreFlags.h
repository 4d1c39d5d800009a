#pragma once

#include <kiv/kiv.h>

/// The flags of the shop. They are registered under "store", so the name of the first is
/// `store.expressCheckout`.
struct StoreFlags : KIVBaseContainer {
    KIVFlag expressCheckout{false};
    KIVFlag newSearch{true};
    KIVString buttonColor{"blue", {"blue", "green", "red"}};
    KIVString greeting{"Hello"};
    KIVString banner{"none"};
    KIVInt paymentRetries{3, {1, 3, 5}};
    KIVDouble discount{0.0};

    KIV_CONTAINER(StoreFlags, expressCheckout, newSearch, buttonColor, greeting, banner, paymentRetries,
                  discount);
};

/// The flags of the whole application. They are registered without a namespace, so the name of the first is
/// `maintenance`.
struct ApplicationFlags : KIVBaseContainer {
    KIVFlag maintenance{false};
    KIVString checkoutFlow{"classic", {"classic", "one-page"}};
    KIVInt itemsPerPage{20};
    KIVDouble freeDeliveryFrom{50.0};

    KIV_CONTAINER(ApplicationFlags, maintenance, checkoutFlow, itemsPerPage, freeDeliveryFrom);
};

/// The flags of a part of the shop that is loaded late. They are registered under "gift".
struct GiftFlags : KIVBaseContainer {
    KIVFlag wrapping{false};
    KIVFlag card{false};
    KIVString ribbon{"white"};

    KIV_CONTAINER(GiftFlags, wrapping, card, ribbon);
};

/// The flags that depend on the customer. They are registered under "store" by the parts of the demonstration
/// that do not register `StoreFlags`.
struct CustomerFlags : KIVBaseContainer {
    KIVString thanks{"none"};
    KIVString upsell{"nothing"};
    KIVString layout{"list", {"list", "grid", "mixed"}};
    KIVString currency{"USD", {"USD", "EUR", "GBP", "JPY"}, 1};
    KIVFlag recommendations{false};
    KIVString ticker{"slow", {"slow", "fast"}};

    KIV_CONTAINER(CustomerFlags, thanks, upsell, layout, currency, recommendations, ticker);
};
