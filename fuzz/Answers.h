#pragma once

#include "fuzz/Support.h"

// The questions that lead to an answer, by who asks them. Each takes an application of its own.
namespace trovix::fuzz {

/// The server is well again: a launch is delivered and heard of once, and nothing that was sent had an empty body.
void checkHealthy(Application& application);

// Launches, events and reports.
void launch(Application& application, const test::Answer& answer);
void inAppEvent(Application& application, const test::Answer& answer);
void purchaseEvent(Application& application, const test::Answer& answer);
void receipt(Application& application, const test::Answer& answer);
void adRevenue(Application& application, const test::Answer& answer);
void uninstallToken(Application& application, const test::Answer& answer);
void closingReports(Application& application, const test::Answer& answer);
/// The body is also what the search-ads client says, and the token.
void searchAds(Application& application, const test::Answer& answer);

// Links.
void deferredDeepLink(Application& application, const test::Answer& answer);
void shortLink(Application& application, const test::Answer& answer);
void redirects(Application& application, const test::Answer& answer);
void linkCreation(Application& application, const test::Answer& answer);
/// The body is the deferred link that a companion SDK has.
void appLink(Application& application, const test::Answer& answer);
void crossPromotion(Application& application, const test::Answer& answer);
void linkParameters(Application& application, const test::Answer& answer);

}  // namespace trovix::fuzz
