/** The little of the browsers' own interface that the client needs; tests put their own in. */

export interface BrowserEvent<Listener> {
  addListener(listener: Listener): void;
}

export interface NativePort {
  /** Firefox: why it closed. */
  readonly error?: {message?: string} | null;
  readonly onMessage: BrowserEvent<(message: unknown) => void>;
  readonly onDisconnect: BrowserEvent<(port: NativePort) => void>;
  postMessage(message: object): void;
  disconnect(): void;
}

export interface NativeRuntime {
  /** Missing when the extension lacks the permission "nativeMessaging". */
  connectNative?(hostName: string): NativePort;
  /** Chromium: why a port closed, while its listener runs. */
  readonly lastError?: {message?: string} | null;
}

/** Time, in milliseconds. */
export interface Clock {
  now(): number;
  /** Calls `action` once, that much later; the result calls it off. */
  after(milliseconds: number, action: () => void): () => void;
}

export const systemClock: Clock = {
  now: () => Date.now(),
  after(milliseconds, action) {
    const timer = setTimeout(action, milliseconds);
    return () => clearTimeout(timer);
  },
};

/** Firefox keeps its own interface beside the other's; it is the one that gives `port.error`. */
export function browserRuntime(): NativeRuntime {
  const scope = globalThis as {
    browser?: {runtime?: NativeRuntime};
    chrome?: {runtime?: NativeRuntime};
  };
  return scope.browser?.runtime ?? scope.chrome?.runtime ?? {};
}
