#pragma once

namespace sqm {

class Clock;
class Dates;
class Files;
class HttpTransactionFactory;
class JsonWriter;
class KeyedCoderFactory;
class LogFileFactory;
class MainBundle;
class MainThread;
class NotificationCenter;
class PropertyList;
class QFLocale;
class QFSQMFilterManager;
class QFSerializer;
class SystemConsole;
class TextCompressor;
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
  Files* files = nullptr;
  QFSerializer* serializer = nullptr;
  KeyedCoderFactory* keyedCoders = nullptr;
  JsonWriter* jsonWriter = nullptr;
  TextCompressor* compressor = nullptr;

  /// Makes `host` the one that objects of which the process has one (`QFRecordUploader`, the shared
  /// `SQMDiagnosticsRecord`) take when they are made. They cannot be had before, and keep the host that they took.
  ///
  /// Ownership: borrowed, for as long as those objects are used: as a rule until the process ends.
  /// Threading: any thread.
  static void install(Host& host);

  /// The host that was installed last; null when none was.
  static Host* installed();
};

}  // namespace sqm
