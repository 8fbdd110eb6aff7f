#include "app/ProductAvailabilityChecks.h"

namespace bws
{
ProductAvailabilityChecks::ProductAvailabilityChecks (int ticks, juce::String version,
                                                      juce::String versionUrl, juce::String newProductUrl)
    : delayTicks (ticks),
      currentVersion (std::move (version)),
      versionAddress (std::move (versionUrl)),
      newProductAddress (std::move (newProductUrl))
{
}

ProductAvailabilityChecks::~ProductAvailabilityChecks()
{
    if (updateFuture.valid())
        updateFuture.wait();
    if (newProductFuture.valid())
        newProductFuture.wait();
}

void ProductAvailabilityChecks::setCallbacks (NoticeCallbackGuard* guard,
                                              std::function<void (bool)> onNewProduct,
                                              std::function<void()> onUpdate)
{
    callbackGuard = guard;
    newProductCallback = std::move (onNewProduct);
    updateCallback = std::move (onUpdate);
}

void ProductAvailabilityChecks::tick()
{
    if (updateCheckStarted && newProductCheckStarted)
    {
        if (tickCount < delayTicks)
            ++tickCount;
        return;
    }

    if (tickCount == delayTicks)
    {
        if (! updateCheckStarted)
        {
            updateCheckStarted = true;
            updateFuture = std::async (std::launch::async, &ProductAvailabilityChecks::checkForUpdate, this);
        }
        if (! newProductCheckStarted)
        {
            newProductCheckStarted = true;
            newProductFuture = std::async (std::launch::async, &ProductAvailabilityChecks::checkForNewProduct, this);
        }
    }

    if (tickCount < delayTicks)
        ++tickCount;
}

bool ProductAvailabilityChecks::isNewerVersion (const juce::String& local, const juce::String& remote)
{
    if (remote.isEmpty())
        return false;
    return local.removeCharacters (".").getIntValue() < remote.removeCharacters (".").getIntValue();
}

bool ProductAvailabilityChecks::announcesNewProduct (const juce::String& remoteText)
{
    return remoteText == "True";
}

juce::String ProductAvailabilityChecks::readText (const juce::String& address)
{
    int statusCode = 0;
    const auto options = juce::URL::InputStreamOptions (juce::URL::ParameterHandling::inAddress)
                             .withConnectionTimeoutMs (connectionTimeoutMs)
                             .withStatusCode (&statusCode);
    auto stream = juce::URL (address).createInputStream (options);
    if (stream == nullptr)
        return {};
    const auto text = stream->readEntireStreamAsString();
    // An error page is no answer.
    return statusCode == 0 || (statusCode >= 200 && statusCode < 300) ? text : juce::String();
}

void ProductAvailabilityChecks::notify (const std::function<void()>& call)
{
    if (callbackGuard == nullptr || ! call)
        return;
    std::unique_lock<std::mutex> lock (callbackGuard->lock, std::try_to_lock);
    if (lock.owns_lock() && callbackGuard->alive)
        call();
}

void ProductAvailabilityChecks::checkForUpdate()
{
    updateAvailable = isNewerVersion (currentVersion, readText (versionAddress));
    notify (updateCallback);
}

void ProductAvailabilityChecks::checkForNewProduct()
{
    const bool available = announcesNewProduct (readText (newProductAddress));
    newProductAvailable = available;
    if (newProductCallback)
        notify ([this, available] { newProductCallback (available); });
}
} // namespace bws
