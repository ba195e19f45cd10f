/* Which methods the tests call: with SQM_OBJC_CALLS in the environment, each message that this program sends, and each
 * that its own objects get, is a line "class selector" at the end of that file. The class is the one that has the
 * method. tools/dev/faces.py reads the file. */
#define _GNU_SOURCE
#include <dlfcn.h>
#import <objc/message.h>
#import <objc/runtime.h>
#include <stdio.h>
#include <stdlib.h>

/* By the linker: the beginning and the end of this program, without the libraries. */
extern const char __executable_start, end;

static FILE* lines;

__attribute__((constructor)) static void openLines(void) {
  const char* const file = getenv("SQM_OBJC_CALLS");
  lines = file == NULL ? NULL : fopen(file, "a");
  if (lines != NULL) setvbuf(lines, NULL, _IOLBF, BUFSIZ); /* other tests write to the file at the same time */
}

static BOOL isOfThisProgram(const void* address) {
  return (const char*)address >= &__executable_start && (const char*)address < &end;
}

static void writeLine(Class type, SEL selector) {
  Method const method = class_getInstanceMethod(type, selector);
  for (Class base = class_getSuperclass(type); base != Nil && class_getInstanceMethod(base, selector) == method;
       base = class_getSuperclass(base)) {
    type = base;
  }
  fprintf(lines, "%s %s\n", class_getName(type), sel_getName(selector));
}

/* Takes the place of the runtime's function, which the code of every message calls. */
IMP objc_msg_lookup(id receiver, SEL selector) {
  static IMP (*lookup)(id, SEL);
  if (lookup == NULL) lookup = (IMP(*)(id, SEL))dlsym(RTLD_NEXT, "objc_msg_lookup");
  if (lines != NULL && receiver != nil) {
    Class const type = object_getClass(receiver);
    if (isOfThisProgram(__builtin_return_address(0)) || isOfThisProgram(type)) writeLine(type, selector);
  }
  return lookup(receiver, selector);
}
