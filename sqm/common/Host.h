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
class RecordJournal;
class SystemConsole;
class TextCompressor;
class TrelkConfiguration;
class UploadQueueRules;
class UserPrefs;
class UtilityFunctions;

/// The services that the library needs from the application. `platform::StandardHost` fills it. To replace a service,
/// set its member before the first object of the library is made.
///
/// Ownership: the services are borrowed. Every member without a remark must be set. The services and the `Host` must
/// outlive the objects that were given the host.
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
  KeyedCoderFactory* keyedCoders = nullptr;  ///< for the application; may be null, as the library does not use it
  RecordJournal* recordJournal = nullptr;    ///< may be null, as it is unless asked for
  UploadQueueRules* queueRules = nullptr;    ///< may be null, as it is unless asked for
  JsonWriter* jsonWriter = nullptr;
  TextCompressor* compressor = nullptr;

  /// Sets the host of the process-wide objects (`QFRecordUploader`, the shared `SQMDiagnosticsRecord`). Without one
  /// they cannot be made; they keep the host that was installed when they were.
  ///
  /// Ownership: borrowed until those objects are no longer used, which is usually the end of the process.
  /// Threading: any thread.
  static void install(Host& host);

  /// The host that was installed last; null without one.
  static Host* installed();
};

}  // namespace sqm
