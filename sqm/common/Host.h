#pragma once

namespace sqm {

class Clock;
class Dates;
class HttpTransactionFactory;
class LogFileFactory;
class MainBundle;
class MainThread;
class NotificationCenter;
class PropertyList;
class QFLocale;
class QFSQMFilterManager;
class SystemConsole;
class TrelkConfiguration;
class UserPrefs;
class UtilityFunctions;

/// The services that the library expects of the application it runs in. `platform::StandardHost` fills one; to replace
/// a service, point its member at an implementation of your own before the first object of the library is made.
///
/// Ownership: borrowed. Every member is set, and it and the `Host` outlive the objects that were given the host.
struct Host {
  HttpTransactionFactory* httpTransactions = nullptr;
  LogFileFactory* logFiles = nullptr;
  MainBundle* mainBundle = nullptr;
  MainThread* mainThread = nullptr;
  NotificationCenter* notificationCenter = nullptr;
  PropertyList* propertyLists = nullptr;
  QFLocale* locale = nullptr;
  QFSQMFilterManager* filterManager = nullptr;
  SystemConsole* console = nullptr;
  TrelkConfiguration* configuration = nullptr;
  UserPrefs* userPrefs = nullptr;
  UtilityFunctions* utilities = nullptr;
  Clock* clock = nullptr;
  Dates* dates = nullptr;
};

}  // namespace sqm
