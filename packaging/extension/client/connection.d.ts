import type { Clock, NativeRuntime } from "./browser.js";
import type { HostInfo, Reply } from "./protocol.js";
import { CorvaneError } from "./reasons.js";
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
export declare class Connection {
    #private;
    constructor(runtime: NativeRuntime, clock: Clock, owner: ConnectionOwner);
    /** Opens the port and greets the host; whatever goes wrong is the connection's end. */
    greet(hostName: string, timeLimit: number): Promise<Greeting>;
    /** The reply, of whatever result; `timeLimit` in milliseconds. Nothing is kept after an abort. */
    ask(type: string, parameters: object | undefined, timeLimit: number, signal?: AbortSignal): Promise<Reply>;
    /** Closes the port; whoever waits for a reply gets `error`. The second time it does nothing. */
    end(error: CorvaneError): void;
}
export {};
