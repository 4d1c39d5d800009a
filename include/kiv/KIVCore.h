#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <kiv/KIVBaseContainer.h>
#include <kiv/KIVCustomPropertyBlocks.h>
#include <kiv/KIVDate.h>
#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVException.h>
#include <kiv/KIVExport.h>
#include <kiv/KIVNonnullString.h>
#include <kiv/KIVNullableString.h>
#include <kiv/KIVOptions.h>
#include <kiv/KIVString.h>

class KIVCustomPropertiesRepository;
class KIVDynamicAPI;
class KIVFeatureFlagsRepository;
class KIVFlagsOverrides;
class KIVFlagsViewController;
class KIVTargetGroupRepository;
class KIVUserspaceUnhandledErrorInvoker;

/// The one object through which an application uses the library.
///
/// Register containers and properties, then set up with a key; registering later works too. Everything here
/// is callable from any thread and from inside the library's callbacks. Nothing waits for the network. A
/// callback may end a thread of the application, but must not end a thread of the library (`pthread_exit`).
class KIV_API KIVCore {
public:
    KIVCore() = delete;

    /// Sets the library up for a key: 24 hexadecimal digits, or the 8-4-4-4-12 UUID form.
    ///
    /// A stored or embedded configuration is applied, and `onConfigurationFetched` called for it, before this
    /// returns. A key is set up once per process; setting it up again changes nothing. Setting up another key
    /// replaces the client of the present key. Throws "wrong apiKey format" for a key of another form; the
    /// state is 4 afterwards.
    static void setupWithKey(KIVNullableString key);
    static void setupWithKey(KIVNullableString key, KIVOptions options);
    /// Accepts the platform's and the language's version from a wrapper; neither changes anything.
    static void setupWithKey(KIVNullableString key, KIVOptions options, const std::string& platformVersion,
                             const std::string& languageVersion);

    /// 0: idle; 1: setting up; 2: set up; 3: shutting down; 4: the last setup failed.
    static unsigned state();

    /// Makes `key` current and stores it: the client of the next setup, also in a later process, works for
    /// the stored key. The present client is not replaced. Ignores a nil key, and every key before the first
    /// use of the library.
    static void switchToSDKKey(KIVNullableString key);

    /// Stops the library in the states 2 and 4; does nothing in other states. No more configurations are
    /// applied, and every flag of the key loses its name, so that it makes no more impressions and has no
    /// overrides. Properties and namespaces stay. Sends the impressions that wait for the service, and waits
    /// 100 milliseconds at most until they are on disk and the service has answered; does not wait when there
    /// are none, or in a callback on the library's work thread.
    ///
    /// A process that ends without a shutdown, by `exit` or in a crash, loses the impressions that are not on
    /// disk yet: those of the last second, or of a longer time while flags are read very often. The next
    /// start sends again those whose answer this process has not lived to note.
    static void shutdown();

    /// Does what `shutdown` does, whatever the state.
    static void reset();

    /// Makes the library whole in a child after a `fork`.
    ///
    /// Until then a child goes on with what its parent had in memory: reads, properties, contexts and
    /// overrides work at once. Nothing is sent, fetched or written, setup included: callbacks for fetches are
    /// not called, overrides are kept in memory, and reads make no impressions for the service;
    /// `impressionHandler` is called. What waited in the parent, impressions and fetches, is the parent's.
    ///
    /// This starts the library's threads and, when the parent was set up, a client for the same key with the
    /// same options: it applies the stored document, thaws flags as setup does, and fetches. The global
    /// context and the overrides of the silent time stay, and the overrides are written. Pages of the flags
    /// screen that the parent presented stay the parent's. Does nothing in a process that is no child or has
    /// called this already. A fork waits, for two seconds at most, for other threads that are in the midst of
    /// changing what the library holds. A fork inside a callback of the library is allowed when the child
    /// ends that callback or the process.
    static void resumeAfterFork();

    /// Registers the flags of a container, under a namespace or under the empty one. Each namespace can be
    /// used once per process. Throws "InvalidNamespace" when the namespace is nil or in use. The library
    /// keeps the container alive.
    static void register_(std::shared_ptr<KIVBaseContainer> container);
    static void register_(KIVNullableString nameSpace, std::shared_ptr<KIVBaseContainer> container);

    /// Reserves a namespace without registering a container. Throws as `register_` does.
    static void handleNamespace(KIVNullableString nameSpace);

    /// Set a property for expressions: a value, or a callback that is asked at each evaluation, on the thread
    /// that reads a flag. A property of the same name is replaced.
    static void setCustomStringProperty(KIVNonnullString value, KIVNonnullString key);
    static void setCustomComputedStringProperty(KIVStringBlock block, KIVNonnullString key);
    static void setCustomBooleanProperty(bool value, KIVNonnullString key);
    static void setCustomComputedBooleanProperty(KIVBoolBlock block, KIVNonnullString key);
    static void setCustomIntProperty(std::int32_t value, KIVNonnullString key);
    static void setCustomComputedIntProperty(KIVIntBlock block, KIVNonnullString key);
    static void setCustomDoubleProperty(double value, KIVNonnullString key);
    static void setCustomComputedDoubleProperty(KIVDoubleBlock block, KIVNonnullString key);
    static void setCustomSemverProperty(KIVNonnullString value, KIVNonnullString key);
    static void setCustomComputedSemverProperty(KIVStringBlock block, KIVNonnullString key);
    static void setCustomDateTimeProperty(KIVDate value, KIVNonnullString key);
    static void setCustomComputedDateTimeProperty(KIVDateBlock block, KIVNonnullString key);

    /// Sets values for every read of the current key; a global value wins over a value of the same name in
    /// the read's own context. A context set before setup is dropped.
    static void setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context);

    /// Adds a flag under a full name: to the current key's flags, or to the shared flags before setup. Throws
    /// "InvalidArgument" when the flag is null.
    static void setVariant(std::shared_ptr<KIVString> flag, KIVNonnullString key);
    /// The current key's flag of that full name, or null.
    static std::shared_ptr<KIVString> variantWithKey(KIVNonnullString key);

    /// All flags that containers and `dynamicAPI` have added, in no order.
    static std::vector<std::shared_ptr<KIVString>> flags();

    /// Flags by name, without a container.
    static std::shared_ptr<KIVDynamicAPI> dynamicAPI();

    /// Starts a fetch and returns at once. Does nothing before setup.
    static void fetch();

    /// Thaw the flags of `KIVFreezeUntilUnfreeze` and above: all of them, or those of one namespace. Do
    /// nothing before setup.
    static void unfreeze();
    static void unfreezeNamespace(KIVNonnullString nameSpace);

    /// The local overrides of the current client; null before setup.
    static std::shared_ptr<KIVFlagsOverrides> overrides();

    /// A new model of the flags screen, for the current client; null before setup and when this version is
    /// switched off. `shutdown`, `reset` and another key's setup call its `done`. A model asked for between a
    /// shutdown and the next setup is never presented in the browser.
    static std::shared_ptr<KIVFlagsViewController> flagsViewController();

    /// Sets the handler of exceptions that the application's own callbacks throw. It receives the source (0
    /// dynamic-properties rule, 1 configuration-fetched handler, 2 impression handler, 3 computed property)
    /// and the exception, on the thread on which the callback threw. An empty handler removes the present
    /// handler.
    static void setUserspaceUnhandledErrorHandler(
        std::function<void(unsigned source, const KIVException& exception)> handler);

    /// The key of the last setup or `switchToSDKKey`; nullopt before.
    static std::optional<std::string> currentSDKKey();

    /// Whether the key has the 8-4-4-4-12 UUID form.
    static bool isUUIDKey(KIVNullableString key);
    /// Whether the key is 24 hexadecimal digits.
    static bool isMongoAppKey(KIVNullableString key);
    /// Whether the preferences switch this build off for this application. Setup then does nothing.
    static bool isVersionSwitchedOff();

#if defined(__cpp_rtti)
    /// For wrappers in other languages: call operations by their names in `KIVNamedOperations`. `run` calls
    /// an operation of `instance`; `getObjectFromClass` calls an operation of the class and then, when
    /// `instanceFunction` is given, calls that operation of the object that the first operation returned.
    /// Both return an empty `std::any` when a name is unknown. Not declared with `-fno-rtti`, as
    /// `KIVNamedOperations`.
    static std::any run(const std::string& method, const std::any& instance);
    static std::any getObjectFromClass(const std::string& className, const std::string& staticFunction);
    static std::any getObjectFromClass(const std::string& className, const std::string& staticFunction,
                                       const std::string& instanceFunction);
#endif

    /// For the library and its tools.
    static std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository();
    static std::shared_ptr<KIVFeatureFlagsRepository> flagsRepositoryForSDKKey(KIVNullableString key);
    static std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository();
    static std::shared_ptr<KIVTargetGroupRepository> targetGroupRepository();
    static std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker();
};
