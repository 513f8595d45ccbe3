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

/** A port between the background script and a page of the extension. */
export interface PagePort {
  readonly name: string;
  /** On the background script's side: the page that opened the port. */
  readonly sender?: {url?: string};
  readonly onMessage: BrowserEvent<(message: unknown) => void>;
  readonly onDisconnect: BrowserEvent<() => void>;
  postMessage(message: object): void;
  disconnect(): void;
}

export interface ExtensionRuntime {
  connect(options: {name: string}): PagePort;
  readonly onConnect: BrowserEvent<(port: PagePort) => void>;
  /** The address of a file of the extension. */
  getURL(path: string): string;
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

/** What native messaging needs; empty outside an extension. */
export function browserRuntime(): NativeRuntime {
  return runtimeOf<NativeRuntime>() ?? {};
}

/** What background script and pages need to talk; throws outside an extension. */
export function extensionRuntime(): ExtensionRuntime {
  const runtime = runtimeOf<ExtensionRuntime>();
  if (!runtime) throw new Error("This is no page and no background script of an extension.");
  return runtime;
}

/** Firefox keeps its own interface beside the other's; it is the one that gives `port.error`. */
function runtimeOf<Runtime>(): Runtime | undefined {
  const scope = globalThis as {browser?: {runtime?: Runtime}; chrome?: {runtime?: Runtime}};
  return scope.browser?.runtime ?? scope.chrome?.runtime;
}
