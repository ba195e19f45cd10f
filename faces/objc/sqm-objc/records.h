/* The records: what the manager makes of an event. Clients that use the manager seldom need them. */
#import <Foundation/Foundation.h>

/* What every record does. The numbers that are returned: 0 is success, also of a setter that stored nothing; 3 no slot,
 * a rejected field number, or a required field missing; 4 a required field missing in a connection or application
 * record. */
@protocol SQM <NSObject>

/* Replaces the text in the slot by the record's XML element. 3, and no change, for NULL and for a slot that holds nil.
 * When the record does not validate, the slot becomes "" and the number says why. */
- (int64_t)FormatRecord:(NSString**)record;

/* Stores the value, unchanged, in the field. A number above 90 stores nothing. Raises NSRangeException for a negative
 * number and for one beyond the end of a short field-name table, and NSInvalidArgumentException for nil; but a client
 * record rejects a number outside 0 to 7 with 3, and nil removes its field. */
- (int64_t)SetAttribute:(int64_t)field withValue:(NSString*)value;

/* The same with the value made safe as XML element content. */
- (int64_t)SetAttributeAfterXMLCompatibleFormat:(int64_t)field withValue:(NSString*)value;

/* Removes the values. NO when the record has no value dictionary. A client record keeps its values and gives YES. */
- (BOOL)clearRecord;

/* The record's own values by field name, not a copy: what is changed in it shows in the record. Keys and values are
 * strings. nil when the record has no value dictionary. */
- (NSMutableDictionary*)recordValues;

@optional

/* What a filter gets: the kind, "connection"; and its kind of that, nil when it has none. */
- (NSString*)recordName;
- (NSString*)recordSubType;

/* Replaces the record's values by a copy of these. nil: by none. */
- (void)updateRecordValues:(NSDictionary*)values;
@end

/* The base of the records. By itself it cannot be made: `init` gives nil. A new record reads the field-name table,
 * "SQMFieldNames.plist". Without it, the record has neither names nor a value dictionary. */
@interface SQMTableRecord : NSObject <SQM> {
 @protected
  struct sqm_objc_record* _body;
}

- (id)init;
- (NSString*)recordName;
- (NSString*)recordSubType;
- (void)updateRecordValues:(NSDictionary*)values;

/* The number that `FormatRecord:` gives to a record with these values. */
- (int64_t)ValidateRecordData;
@end

/* What the connection records of all media share. By itself it formats nothing: `FormatRecord:` leaves the slot alone.
 */
@interface SQMConnectionRecord : SQMTableRecord

/* The elements of the fields that every medium has: 11 to 22. */
- (NSString*)FormatCommonSQMFields;
@end

@interface SQMWiFiConnectionRecord : SQMConnectionRecord

/* The elements of the fields that Wi-Fi alone has. */
- (NSString*)FormatWiFiConnectionFields;
@end

@interface SQMMBConnectionRecord : SQMConnectionRecord

/* The elements of the fields that mobile broadband alone has. */
- (NSString*)FormatMBConnectionFields;
@end

@interface SQMEthernetConnectionRecord : SQMConnectionRecord

/* The element of the field that Ethernet alone has. */
- (NSString*)FormatEthernetConnectionFields;
@end

@interface SQMClientRecord : SQMTableRecord

/* Stores a value under a key that is no field name: "locale", "os" or "osVersion". 3 when either is nil, else 0. */
- (int64_t)setValue:(NSString*)value forKey:(NSString*)key;

/* The locale and the operating system as elements; "" until field 0, their marker, holds a value. */
- (NSString*)constructEnvironmentInformation;
@end

@interface SQMDeviceRecord : SQMTableRecord

/* The elements without the one around them. */
- (NSString*)FormatMobileDeviceFields;
@end

@interface SQMApplicationRecord : SQMTableRecord

/* The whole element, and its two groups of elements: those of every application, those of a session. */
- (NSString*)FormatVPNApplicationTypeData;
- (NSString*)FormatCommonApplicationFields;
- (NSString*)FormatCommonSessionFields;
@end

/* It validates only when its values hold the key "6", which no setter stores: see `updateRecordValues:`. */
@interface SQMUserAcceptanceRecord : SQMTableRecord
@end

/* Named after three enumerations: record types, field numbers, error codes. The library neither reads nor writes them.
 */
extern int32_t NsqmRecType;
extern int32_t NSSQMFields;
extern int32_t NSSqmError;
