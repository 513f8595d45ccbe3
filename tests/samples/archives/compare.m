// Reads every N.archive in a folder with Foundation's unarchiver (GNUstep's, where there is no other) and
// compares it with N.json.
#import <Foundation/Foundation.h>

int main(int argc, char **argv) {
  [NSAutoreleasePool new];
  if (argc != 2) return 2;
  NSString *folder = [NSString stringWithUTF8String:argv[1]];
  int compared = 0;
  for (NSString *name in [[NSFileManager defaultManager] contentsOfDirectoryAtPath:folder error:NULL]) {
    if (![[name pathExtension] isEqual:@"json"]) continue;
    NSString *base = [folder stringByAppendingPathComponent:[name stringByDeletingPathExtension]];
    NSData *json = [NSData dataWithContentsOfFile:[base stringByAppendingPathExtension:@"json"]];
    NSData *archive = [NSData dataWithContentsOfFile:[base stringByAppendingPathExtension:@"archive"]];
    id expected = [NSJSONSerialization JSONObjectWithData:json options:0 error:NULL];
    id found = nil;
    @try {
      found = [NSKeyedUnarchiver unarchiveObjectWithData:archive];
    } @catch (NSException *exception) {  // GNUstep knows no integers above 2^63-1
      if ([[exception reason] rangeOfString:@"(16 bytes)"].location != NSNotFound) continue;
      NSLog(@"%@: %@", name, exception);
    }
    if (expected == nil || ![found isEqual:expected]) {
      NSLog(@"%@: %@ is not %@", name, found, expected);
      return 1;
    }
    ++compared;
  }
  return compared >= 25 ? 0 : 1;
}
