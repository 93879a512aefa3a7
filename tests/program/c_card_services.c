/* Card services as somebody else might write them: in C, with bare tables of function pointers and records as
 * plain bytes, knowing the positions and offsets but none of the program's headers. One card, whose telemetry
 * and notifications come from one thread while the program registers for telemetry. Every position that
 * nobody may call ends the process with status 99. */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#define CALL __stdcall
#define EXPORT __declspec(dllexport)
#else
#include <pthread.h>
#define CALL
#define EXPORT __attribute__((visibility("default")))
#endif

typedef int32_t Result;
#define END_OF_ENUM ((Result)0x89998012u)
#define NO_INTERFACE ((Result)0x80004002u)

typedef void (*Position)(void);

/* The program's callbacks: position 1 AddRef, 2 Release, 3 the notification. */
typedef struct {
  Position* table;
} Callback;
typedef uint32_t(CALL* CountOperation)(Callback*);
typedef Result(CALL* BareNotification)(Callback*);
typedef Result(CALL* Notification)(Callback*, const void*);

/* Any object of the card: an SFP has a number, an enumerator items, and what notifies holds its callback. */
typedef struct Object {
  const Position* table;
  uint32_t number;
  struct Object* items;
  unsigned count;
  unsigned next;
  uint32_t references;
  Callback* callback;
} Object;
typedef Result(CALL* SfpNotification)(Callback*, Object*, const void*);

static void End(int status, const char* why) {
  fprintf(stderr, "%s\n", why);
  fflush(stderr);
  _Exit(status);
}
static void Expect(int truth, const char* otherwise) {
  if (!truth) End(98, otherwise);
}
static Result CALL Unexpected(void) {
  End(99, "a position that nobody may call was called");
  return 0;
}

static uint32_t CALL AddRef(Object* self) { return ++self->references; }
static uint32_t CALL Release(Object* self) { return --self->references; }
static Result CALL NoQuery(Object* self, const void* iid, void** out) {
  (void)self, (void)iid;
  *out = NULL;
  return NO_INTERFACE;
}
static Result HandOut(Object* object, void** out) {
  AddRef(object);
  *out = object;
  return 0;
}
static Result CALL Next(Object* self, void** out) {
  return self->next < self->count ? HandOut(&self->items[self->next++], out) : END_OF_ENUM;
}
static Result CALL Register(Object* self, Callback* callback) {
  ((CountOperation)callback->table[1])(callback);
  self->callback = callback;
  return 0;
}
static Result CALL Unregister(Object* self, Callback* callback) {
  if (self->callback != callback) return (Result)0x89998005u;
  self->callback = NULL;
  ((CountOperation)callback->table[2])(callback);
  return 0;
}

static void Put32(void* record, size_t offset, uint32_t value) { memcpy((char*)record + offset, &value, 4); }
static void Put64(void* record, size_t offset, uint64_t value) { memcpy((char*)record + offset, &value, 8); }
static void ExpectSize(const void* record, size_t offset, uint32_t size) {
  Expect(memcmp((const char*)record + offset, &size, 4) == 0, "a record's size field is wrong");
}

#define FILLED(first, last) [first... last] = (Position)Unexpected
#define UNKNOWN (Position) NoQuery, (Position)AddRef, (Position)Release
#define HANDS_OUT(name, object)                       \
  static Result CALL name(Object* self, void** out) { \
    (void)self;                                       \
    return HandOut(&(object), out);                   \
  }

static int notified; /* the state has changed */

/* Genlock */

static Result CALL GenlockSettings(Object* self, void* record) {
  (void)self;
  ExpectSize(record, 0, 88);
  Put32(record, 60, notified ? 4 : 10);
  Put32(record, 68, notified ? 1 : 128);
  return 0;
}
static void FillGenlockStatus(void* record) { Put32(record, 4, notified ? 2 : 4); }
static Result CALL GenlockStatus(Object* self, void* record) {
  (void)self;
  ExpectSize(record, 0, 40);
  FillGenlockStatus(record);
  return 0;
}
static const Position genlock_notification_table[] = {UNKNOWN, FILLED(3, 4), (Position)Register,
                                                      (Position)Unregister};
static Object genlock_notification = {.table = genlock_notification_table};
HANDS_OUT(GenlockNotification, genlock_notification)
static const Position genlock_table[] = {UNKNOWN, (Position)GenlockSettings, (Position)Unexpected,
                                         (Position)GenlockNotification, (Position)GenlockStatus};
static Object genlock = {.table = genlock_table};

/* SFPs */

static uint32_t CALL SfpNumber(Object* self) { return self->number; }
static void FillSfpStatus(const Object* self, void* record) {
  const uint8_t status[3] = {2, self->number == 2, self->number == 1};
  memcpy((char*)record + 4, status, sizeof status);
}
static Result CALL SfpStatus(Object* self, void* record) {
  ExpectSize(record, 0, 8);
  FillSfpStatus(self, record);
  return 0;
}
static Result CALL St2059SfpStatus(Object* self, void* record) {
  const int a = self->number == 1;
  ExpectSize(record, 0, 48);
  Put64(record, 8, a ? 0x001DC1FFFE123456 : 255);
  Put64(record, 16, a ? UINT64_MAX : 0);
  Put32(record, 24, (uint32_t)(a ? -5 : INT32_MIN));
  Put32(record, 32, (uint32_t)(a ? INT32_MAX : 1234));
  Put32(record, 36, (uint32_t)-1);
  Put32(record, 40, (uint32_t)(a ? INT32_MIN : -2));
  Put32(record, 44, a ? 10 : 9);
  return 0;
}
static const Position sfp_table[] = {UNKNOWN,
                                     (Position)SfpNumber,
                                     FILLED(4, 5),
                                     (Position)SfpStatus,
                                     (Position)Register,
                                     (Position)Unregister};
static const Position st2059_sfp_table[] = {UNKNOWN, FILLED(3, 4), (Position)St2059SfpStatus};
static const Position enumerator_table[] = {UNKNOWN, (Position)Unexpected, (Position)Next};
static Object sfps[2] = {{.table = sfp_table, .number = 1}, {.table = sfp_table, .number = 2}};
static Object st2059_sfps[2] = {{.table = st2059_sfp_table, .number = 1},
                                {.table = st2059_sfp_table, .number = 2}};
static Object sfp_enumerator = {.table = enumerator_table, .items = sfps, .count = 2};

/* ST 2059 */

static void FillSt2059Status(void* record) {
  Put32(record, 4, notified ? 10 : 9);
  ((char*)record)[8] = notified ? 1 : 2;
  Put64(record, 16, 0xABCDEF);
  Put64(record, 24, 0x1234567890ABCDEF);
}
static Result CALL St2059Settings(Object* self, void* record) {
  (void)self;
  ExpectSize(record, 0, 8);
  Put32(record, 4, notified ? 2 : 3);
  return 0;
}
static Result CALL St2059Status(Object* self, void* record) {
  (void)self;
  ExpectSize(record, 0, 32);
  FillSt2059Status(record);
  return 0;
}
static Result CALL GetSt2059Sfp(Object* self, Object* sfp, void** out) {
  (void)self;
  return HandOut(&st2059_sfps[sfp->number - 1], out);
}
static const Position st2059_table[] = {UNKNOWN,
                                        (Position)Unexpected,
                                        (Position)St2059Settings,
                                        (Position)St2059Status,
                                        (Position)Register,
                                        (Position)Unregister,
                                        (Position)GetSt2059Sfp};
static Object st2059 = {.table = st2059_table};

/* The card */

static const uint8_t private_iid[16] = {0x76, 0xE7, 0xBB, 0x67, 0xAF, 0x56, 0x34, 0x4E,
                                        0x9B, 0x30, 0xC0, 0xC0, 0x62, 0x86, 0x33, 0x86};
static unsigned batches;

static Result CALL QueryCard(Object* self, const void* iid, void** out) {
  return memcmp(iid, private_iid, sizeof private_iid) == 0 ? HandOut(self, out) : NoQuery(self, iid, out);
}
HANDS_OUT(GetGenlock, genlock)
HANDS_OUT(CreateSfpEnumerator, sfp_enumerator)
HANDS_OUT(GetSt2059, st2059)
static Result CALL CardInformation(Object* self, void* record, uint32_t reserved) {
  (void)self;
  ExpectSize(record, 0, 236);
  ExpectSize(record, 172, 52);
  Expect(reserved == 0, "the reserved argument is not 0");
  Put32(record, 4, 100);
  memcpy((char*)record + 36, "C-77", sizeof "C-77");
  memcpy((char*)record + 68, "A card in C", sizeof "A card in C");
  return 0;
}
static Result CALL GetMonitorData(Object* self, void* batch) {
  (void)self;
  for (unsigned i = 0; i < 3; ++i) memset((char*)batch + 1016 * i, (int)(i % 2), 1016);
  Put32(batch, 12192, 3);
  ++batches;
  return 0;
}

static void CallBack(Object* card) {
  uint64_t record[3][5] = {{0}};
  Result failed = 0;
  for (unsigned i = 0; i < 5; ++i) failed |= ((BareNotification)card->callback->table[3])(card->callback);
  notified = 1;
  FillGenlockStatus(record[0]);
  FillSt2059Status(record[1]);
  FillSfpStatus(&sfps[1], record[2]);
  failed |= ((Notification)genlock_notification.callback->table[3])(genlock_notification.callback, record[0]);
  failed |= ((Notification)st2059.callback->table[3])(st2059.callback, record[1]);
  failed |= ((SfpNotification)sfps[1].callback->table[3])(sfps[1].callback, &sfps[1], record[2]);
  Expect(!failed, "a callback has failed");
}

#if defined(_WIN32)
static DWORD WINAPI ThreadMain(void* card) {
  CallBack(card);
  return 0;
}
static void CallBackOnAThread(Object* card) {
  HANDLE thread = CreateThread(NULL, 0, ThreadMain, card, 0, NULL);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}
#else
static void* ThreadMain(void* card) {
  CallBack(card);
  return NULL;
}
static void CallBackOnAThread(Object* card) {
  pthread_t thread;
  pthread_create(&thread, NULL, ThreadMain, card);
  pthread_join(thread, NULL);
}
#endif

static Result CALL RegisterMonitorData(Object* self, Callback* callback) {
  Register(self, callback);
  CallBackOnAThread(self);
  return 0;
}
static const Position card_table[65] = {
    (Position)QueryCard,           (Position)AddRef,     (Position)Release,         FILLED(3, 14),
    (Position)GetGenlock,          FILLED(16, 35),       (Position)CardInformation, FILLED(37, 38),
    (Position)CreateSfpEnumerator, FILLED(40, 50),       (Position)GetSt2059,       FILLED(52, 61),
    (Position)RegisterMonitorData, (Position)Unregister, (Position)GetMonitorData};
static Object card = {.table = card_table};
static Object card_enumerator = {.table = enumerator_table, .items = &card, .count = 1};
HANDS_OUT(GetCardEnumerator, card_enumerator)

/* When the program lets go of the last interface, whatever it still holds elsewhere is a leak. */
static uint32_t CALL ReleaseSystem(Object* self) {
  if (--self->references == 0) {
    const uint32_t held = genlock.references + genlock_notification.references + st2059.references +
                          sfp_enumerator.references + card_enumerator.references + sfps[0].references +
                          sfps[1].references + st2059_sfps[0].references + st2059_sfps[1].references;
    fprintf(stderr, "%u batches, %u references held\n", batches, (unsigned)held);
    fflush(stderr);
  }
  return self->references;
}
static const Position system_table[] = {(Position)NoQuery, (Position)AddRef, (Position)ReleaseSystem,
                                        (Position)GetCardEnumerator};
static Object system_configuration = {.table = system_table};

/* The class factory */

static Result CALL CreateInstance(Object* self, void* outer, const void* iid, void** out) {
  (void)self, (void)outer, (void)iid;
  return HandOut(&system_configuration, out);
}
static const Position factory_table[] = {UNKNOWN, (Position)CreateInstance, (Position)Unexpected};
static Object factory = {.table = factory_table};

EXPORT Result CALL DllGetClassObject(const void* clsid, const void* iid, void** out) {
  (void)clsid, (void)iid;
  if (getenv("C_CARD_SERVICES_WITHOUT_FACTORY") != NULL) return 0;
  return HandOut(&factory, out);
}
