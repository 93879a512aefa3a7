/* Card services as somebody else might write them: in C, with bare tables of function pointers and records as plain
 * bytes, knowing the positions and offsets but none of the program's headers. One card, whose telemetry and
 * notifications come from one thread while the program registers for telemetry. Every position that nobody may call
 * ends the process with status 99. */

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
typedef struct {
  const Position* table;
  uint32_t references;
} Object;

static Result CALL Unexpected(void) {
  fprintf(stderr, "a position that nobody may call was called\n");
  fflush(stderr);
  _Exit(99);
}

static uint32_t CALL AddRef(Object* self) { return ++self->references; }
static uint32_t CALL Release(Object* self) { return --self->references; }

static Result HandOut(Object* object, void** out) {
  AddRef(object);
  *out = object;
  return 0;
}

/* The program's callbacks: position 1 AddRef, 2 Release, 3 the notification. */
typedef struct {
  Position* table;
} Callback;
typedef uint32_t(CALL* CountOperation)(Callback*);

static Callback* telemetry_callback;
static Callback* genlock_callback;
static Callback* st2059_callback;
static Callback* sfp_callbacks[2];

static Result Keep(Callback** held, Callback* callback) {
  ((CountOperation)callback->table[1])(callback);
  *held = callback;
  return 0;
}
static Result Drop(Callback** held, Callback* callback) {
  if (*held != callback) return (Result)0x89998005u;
  *held = NULL;
  ((CountOperation)callback->table[2])(callback);
  return 0;
}

static void Put32(void* record, size_t offset, uint32_t value) { memcpy((char*)record + offset, &value, 4); }
static void Put64(void* record, size_t offset, uint64_t value) { memcpy((char*)record + offset, &value, 8); }
static void Expect32(const void* record, size_t offset, uint32_t value) {
  uint32_t found;
  memcpy(&found, (const char*)record + offset, 4);
  if (found == value) return;
  fprintf(stderr, "size field at %u is %u, not %u\n", (unsigned)offset, (unsigned)found, (unsigned)value);
  fflush(stderr);
  _Exit(98);
}

#define FILLED(first, last) [first... last] = (Position)Unexpected
#define UNKNOWN(query) (Position)(query), (Position)AddRef, (Position)Release

static Result CALL NoQuery(Object* self, const void* iid, void** out) {
  (void)self, (void)iid;
  *out = NULL;
  return NO_INTERFACE;
}

/* Genlock */

static Object genlock, genlock_notification;

static void FillGenlockStatus(void* record) { Put32(record, 4, 2); }
static Result CALL GenlockSettings(Object* self, void* record) {
  (void)self;
  Expect32(record, 0, 88);
  Put32(record, 60, 4);
  Put32(record, 68, 1);
  return 0;
}
static Result CALL GenlockNotification(Object* self, void** out) {
  (void)self;
  return HandOut(&genlock_notification, out);
}
static Result CALL GenlockStatus(Object* self, void* record) {
  (void)self;
  Expect32(record, 0, 40);
  FillGenlockStatus(record);
  return 0;
}
static Result CALL RegisterGenlock(Object* self, Callback* callback) {
  (void)self;
  return Keep(&genlock_callback, callback);
}
static Result CALL UnregisterGenlock(Object* self, Callback* callback) {
  (void)self;
  return Drop(&genlock_callback, callback);
}
static const Position genlock_table[] = {UNKNOWN(NoQuery), (Position)GenlockSettings, (Position)Unexpected,
                                         (Position)GenlockNotification, (Position)GenlockStatus};
static const Position genlock_notification_table[] = {UNKNOWN(NoQuery), (Position)Unexpected, (Position)Unexpected,
                                                      (Position)RegisterGenlock, (Position)UnregisterGenlock};
static Object genlock = {genlock_table, 0};
static Object genlock_notification = {genlock_notification_table, 0};

/* SFPs */

typedef struct {
  Object object;
  uint32_t number;
} SfpObject;
static SfpObject sfps[2], st2059_sfps[2];
static unsigned next_sfp;

static void FillSfpStatus(void* record) {
  static const uint8_t status[3] = {1, 1, 0};
  memcpy((char*)record + 4, status, sizeof status);
}
static uint32_t CALL SfpNumber(SfpObject* self) { return self->number; }
static Result CALL SfpStatus(SfpObject* self, void* record) {
  (void)self;
  Expect32(record, 0, 8);
  FillSfpStatus(record);
  return 0;
}
static Result CALL RegisterSfp(SfpObject* self, Callback* callback) {
  return Keep(&sfp_callbacks[self->number - 1], callback);
}
static Result CALL UnregisterSfp(SfpObject* self, Callback* callback) {
  return Drop(&sfp_callbacks[self->number - 1], callback);
}
static Result CALL NextSfp(Object* self, void** out) {
  (void)self;
  return next_sfp < 2 ? HandOut(&sfps[next_sfp++].object, out) : END_OF_ENUM;
}
static Result CALL St2059SfpStatus(SfpObject* self, void* record) {
  Expect32(record, 0, 48);
  Put64(record, 8, 0x100 + self->number);
  Put64(record, 16, 0x200 + self->number);
  Put32(record, 24, (uint32_t)-7);
  Put32(record, 32, 1234);
  Put32(record, 36, (uint32_t)-1);
  Put32(record, 40, (uint32_t)-2);
  Put32(record, 44, 9);
  return 0;
}
static const Position sfp_table[] = {UNKNOWN(NoQuery),      (Position)SfpNumber, (Position)Unexpected,
                                     (Position)Unexpected,  (Position)SfpStatus, (Position)RegisterSfp,
                                     (Position)UnregisterSfp};
static const Position sfp_enumerator_table[] = {UNKNOWN(NoQuery), (Position)Unexpected, (Position)NextSfp};
static const Position st2059_sfp_table[] = {UNKNOWN(NoQuery), (Position)Unexpected, (Position)Unexpected,
                                            (Position)St2059SfpStatus};
static SfpObject sfps[2] = {{{sfp_table, 0}, 1}, {{sfp_table, 0}, 2}};
static SfpObject st2059_sfps[2] = {{{st2059_sfp_table, 0}, 1}, {{st2059_sfp_table, 0}, 2}};
static Object sfp_enumerator = {sfp_enumerator_table, 0};

/* ST 2059 */

static void FillSt2059Status(void* record) {
  Put32(record, 4, 10);
  ((char*)record)[8] = 2;
  Put64(record, 16, 0xABCDEF);
  Put64(record, 24, 0x1234567890ABCDEF);
}
static Result CALL St2059Settings(Object* self, void* record) {
  (void)self;
  Expect32(record, 0, 8);
  Put32(record, 4, 2);
  return 0;
}
static Result CALL St2059Status(Object* self, void* record) {
  (void)self;
  Expect32(record, 0, 32);
  FillSt2059Status(record);
  return 0;
}
static Result CALL RegisterSt2059(Object* self, Callback* callback) {
  (void)self;
  return Keep(&st2059_callback, callback);
}
static Result CALL UnregisterSt2059(Object* self, Callback* callback) {
  (void)self;
  return Drop(&st2059_callback, callback);
}
static Result CALL GetSt2059Sfp(Object* self, SfpObject* sfp, void** out) {
  (void)self;
  return HandOut(&st2059_sfps[sfp->number - 1].object, out);
}
static const Position st2059_table[] = {UNKNOWN(NoQuery),         (Position)Unexpected,     (Position)St2059Settings,
                                        (Position)St2059Status,   (Position)RegisterSt2059, (Position)UnregisterSt2059,
                                        (Position)GetSt2059Sfp};
static Object st2059 = {st2059_table, 0};

/* The card */

static const uint8_t private_iid[16] = {0x76, 0xE7, 0xBB, 0x67, 0xAF, 0x56, 0x34, 0x4E,
                                        0x9B, 0x30, 0xC0, 0xC0, 0x62, 0x86, 0x33, 0x86};
static unsigned next_card;
static unsigned batches;

static Result CALL QueryCard(Object* self, const void* iid, void** out) {
  if (memcmp(iid, private_iid, sizeof private_iid) == 0) return HandOut(self, out);
  return NoQuery(self, iid, out);
}
static Result CALL GetGenlock(Object* self, void** out) {
  (void)self;
  return HandOut(&genlock, out);
}
static Result CALL CardInformation(Object* self, void* record, uint32_t reserved) {
  (void)self;
  Expect32(record, 0, 236);
  Expect32(record, 172, 52);
  Expect32(&reserved, 0, 0);
  Put32(record, 4, 100);
  memcpy((char*)record + 36, "C-77", sizeof "C-77");
  memcpy((char*)record + 68, "A card in C", sizeof "A card in C");
  return 0;
}
static Result CALL CreateSfpEnumerator(Object* self, void** out) {
  (void)self;
  next_sfp = 0;
  return HandOut(&sfp_enumerator, out);
}
static Result CALL GetSt2059(Object* self, void** out) {
  (void)self;
  return HandOut(&st2059, out);
}
static Result CALL GetMonitorData(Object* self, void* batch) {
  (void)self;
  unsigned i;
  for (i = 0; i < 3; ++i) memset((char*)batch + 1016 * i, (int)(i % 2), 1016);
  Put32(batch, 12192, 3);
  ++batches;
  return 0;
}

typedef Result(CALL* Notification)(Callback*, const void*);
typedef Result(CALL* SfpNotification)(Callback*, void*, const void*);

static void CallBack(void) {
  uint64_t record[5] = {0};
  for (unsigned i = 0; i < 5; ++i) ((CountOperation)telemetry_callback->table[3])(telemetry_callback);
  FillGenlockStatus(record);
  ((Notification)genlock_callback->table[3])(genlock_callback, record);
  memset(record, 0, sizeof record);
  FillSt2059Status(record);
  ((Notification)st2059_callback->table[3])(st2059_callback, record);
  memset(record, 0, sizeof record);
  FillSfpStatus(record);
  ((SfpNotification)sfp_callbacks[1]->table[3])(sfp_callbacks[1], &sfps[1], record);
}

#if defined(_WIN32)
static DWORD WINAPI ThreadMain(void* unused) {
  (void)unused;
  CallBack();
  return 0;
}
static void CallBackOnAThread(void) {
  HANDLE thread = CreateThread(NULL, 0, ThreadMain, NULL, 0, NULL);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}
#else
static void* ThreadMain(void* unused) {
  CallBack();
  return unused;
}
static void CallBackOnAThread(void) {
  pthread_t thread;
  pthread_create(&thread, NULL, ThreadMain, NULL);
  pthread_join(thread, NULL);
}
#endif

static Result CALL RegisterMonitorData(Object* self, Callback* callback) {
  (void)self;
  Keep(&telemetry_callback, callback);
  CallBackOnAThread();
  return 0;
}
static Result CALL UnregisterMonitorData(Object* self, Callback* callback) {
  (void)self;
  return Drop(&telemetry_callback, callback);
}
static const Position card_table[65] = {UNKNOWN(QueryCard),
                                        FILLED(3, 14),
                                        (Position)GetGenlock,
                                        FILLED(16, 35),
                                        (Position)CardInformation,
                                        FILLED(37, 38),
                                        (Position)CreateSfpEnumerator,
                                        FILLED(40, 50),
                                        (Position)GetSt2059,
                                        FILLED(52, 61),
                                        (Position)RegisterMonitorData,
                                        (Position)UnregisterMonitorData,
                                        (Position)GetMonitorData};
static Object card = {card_table, 0};

static Result CALL NextCard(Object* self, void** out) {
  (void)self;
  return next_card++ == 0 ? HandOut(&card, out) : END_OF_ENUM;
}
static const Position card_enumerator_table[] = {UNKNOWN(NoQuery), (Position)Unexpected, (Position)NextCard};
static Object card_enumerator = {card_enumerator_table, 0};

static Result CALL GetCardEnumerator(Object* self, void** out) {
  (void)self;
  next_card = 0;
  return HandOut(&card_enumerator, out);
}

/* When the program lets go of the last interface, whatever it still holds elsewhere is a leak. */
static uint32_t CALL ReleaseSystem(Object* self) {
  if (--self->references == 0) {
    const uint32_t held = genlock.references + genlock_notification.references + st2059.references +
                          sfp_enumerator.references + card_enumerator.references + sfps[0].object.references +
                          sfps[1].object.references + st2059_sfps[0].object.references +
                          st2059_sfps[1].object.references;
    fprintf(stderr, "%u batches, %u references held\n", batches, (unsigned)held);
    fflush(stderr);
  }
  return self->references;
}
static const Position system_table[] = {(Position)NoQuery, (Position)AddRef, (Position)ReleaseSystem,
                                        (Position)GetCardEnumerator};
static Object system_configuration = {system_table, 0};

/* The class factory */

static Result CALL CreateInstance(Object* self, void* outer, const void* iid, void** out) {
  (void)self, (void)outer, (void)iid;
  return HandOut(&system_configuration, out);
}
static const Position factory_table[] = {UNKNOWN(NoQuery), (Position)CreateInstance, (Position)Unexpected};
static Object factory = {factory_table, 0};

EXPORT Result CALL DllGetClassObject(const void* clsid, const void* iid, void** out) {
  (void)clsid, (void)iid;
  if (getenv("C_CARD_SERVICES_WITHOUT_FACTORY") != NULL) return 0;
  return HandOut(&factory, out);
}
