#pragma once

// Everything a host application includes, whatever its toolkit: the records a checkout is made
// of (profile, purchase, amounts), its result, the entry points and the names a hybrid page uses.
// The toolkit's own pieces (set-up, the button widget, the hybrid plugin on the host's web view)
// are in the platform's header, e.g. <tandri/gtk.hpp>.

#include "tandri/Constants.hpp"
#include "tandri/Decimal.hpp"
#include "tandri/Enums.hpp"
#include "tandri/Json.hpp"
#include "tandri/TInitInfo.hpp"
#include "tandri/TandriCheckoutResult.hpp"
#include "tandri/TandriCheckoutSDK.hpp"
#include "tandri/TandriCurrencyAmount.hpp"
#include "tandri/TandriMessageHandler.hpp"
#include "tandri/TandriProfile.hpp"
#include "tandri/TandriPurchaseInfo.hpp"
#include "tandri/Value.hpp"
#include "tandri/Version.hpp"
