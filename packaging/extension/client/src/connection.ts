import type {Clock, NativePort, NativeRuntime} from "./browser.js";
import {abortable} from "./link.js";
import {API_VERSION, PUSH_ID} from "./protocol.js";
import type {HostInfo, Reply, Request} from "./protocol.js";
import {CorvaneError, reasonOf} from "./reasons.js";

interface Waiting {
  resolve(reply: Reply): void;
  reject(error: unknown): void;
  callOffLimit(): void;
}

interface Greeting {
  host: HostInfo;
  reply: Reply;
}

export interface ConnectionOwner {
  /** A state that nobody asked for. */
  pushed(reply: Reply): void;
  /** The end, once; before anybody who waits for a reply is told. */
  ended(error: CorvaneError): void;
}

/** One port and so one process of the host, from its start to its end; never opened again. */
export class Connection {
  readonly #runtime: NativeRuntime;
  readonly #clock: Clock;
  readonly #owner: ConnectionOwner;
  readonly #waiting = new Map<string, Waiting>();
  #port: NativePort | undefined;
  #lastId = 0;
  #isGreeted = false;
  #endedBy: CorvaneError | undefined;

  constructor(runtime: NativeRuntime, clock: Clock, owner: ConnectionOwner) {
    this.#runtime = runtime;
    this.#clock = clock;
    this.#owner = owner;
  }

  /** Opens the port and greets the host; whatever goes wrong is the connection's end. */
  async greet(hostName: string, timeLimit: number): Promise<Greeting> {
    try {
      this.#open(hostName);
      const reply = await this.ask("init", {apiVersion: API_VERSION}, timeLimit);
      const host = reply.parameters as HostInfo | undefined;
      if (!host?.isValidatedOnHost) throw versionMismatch(reply, host);
      this.#isGreeted = true;
      return {host, reply};
    } catch (error) {
      const reason = endOfGreeting(error);
      this.end(reason);
      throw reason;
    }
  }

  /** The reply, of whatever result; `timeLimit` in milliseconds. Nothing is kept after an abort. */
  ask(
    type: string,
    parameters: object | undefined,
    timeLimit: number,
    signal?: AbortSignal,
  ): Promise<Reply> {
    const id = String(++this.#lastId);
    const asked = new Promise<Reply>((resolve, reject) => {
      const request: Request = parameters ? {type, id, parameters} : {type, id};
      this.#post(request);
      const callOffLimit = this.#clock.after(timeLimit, () => {
        this.#take(id);
        reject(new CorvaneError("time limit", `No answer to ${type} within ${timeLimit} ms.`));
      });
      this.#waiting.set(id, {resolve, reject, callOffLimit});
    });
    return abortable(asked, signal, () => this.#take(id));
  }

  /** Closes the port; whoever waits for a reply gets `error`. The second time it does nothing. */
  end(error: CorvaneError): void {
    if (this.#endedBy) return;
    this.#endedBy = error;
    this.#port?.disconnect();
    this.#owner.ended(error);
    for (const waiting of this.#waiting.values()) {
      waiting.callOffLimit();
      waiting.reject(error);
    }
    this.#waiting.clear();
  }

  #open(hostName: string): void {
    if (this.#endedBy) throw this.#endedBy; // before it began: no host may be started any more
    if (!this.#runtime.connectNative) {
      throw new CorvaneError("forbidden", 'The extension lacks the permission "nativeMessaging".');
    }
    const port = this.#runtime.connectNative(hostName);
    this.#port = port;
    port.onMessage.addListener((message) => this.#receive(message));
    port.onDisconnect.addListener((ended) => {
      const text = (ended.error ?? this.#runtime.lastError)?.message;
      const reason = reasonOf(text, this.#isGreeted);
      this.#port = undefined;
      this.end(new CorvaneError(reason, text ?? "The host has ended.", undefined, text));
    });
  }

  #post(request: Request): void {
    try {
      this.#port?.postMessage(request);
    } catch (error) {
      // Browsers word it as they like; what JSON can't express is a mistake of the caller's.
      if (!(error instanceof Error) || !/length|size|memory/i.test(error.message)) throw error;
      throw new CorvaneError("too large", error.message);
    }
  }

  /** What fits nobody is left alone: a late answer, or one of a newer host. */
  #receive(message: unknown): void {
    const reply = message as Reply | null;
    if (reply?.requestId === PUSH_ID) {
      this.#owner.pushed(reply);
      return;
    }
    if (reply) this.#take(String(reply.requestId))?.resolve(reply);
  }

  /** Removes the request `id` and its time limit; nothing if it does not wait. */
  #take(id: string): Waiting | undefined {
    const waiting = this.#waiting.get(id);
    this.#waiting.delete(id);
    waiting?.callOffLimit();
    return waiting;
  }
}

function versionMismatch(reply: Reply, host: HostInfo | undefined): CorvaneError {
  const theirs = host ? `${host.apiVersion} (host ${host.version})` : "none";
  const text = `The host speaks version ${theirs} of the protocol, not ${API_VERSION}.`;
  return new CorvaneError("version mismatch", text, reply);
}

/** What the failure of a greeting says of the link. */
function endOfGreeting(error: unknown): CorvaneError {
  if (!(error instanceof CorvaneError)) return new CorvaneError("failed", String(error));
  return error.reason === "time limit" ? new CorvaneError("mute", error.message) : error;
}
