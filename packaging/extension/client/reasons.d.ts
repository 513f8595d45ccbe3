import type { Reply } from "./protocol.js";
/**
 * Why there is no link, or no answer.
 *
 * Of the link:
 * - `not found`: no manifest of the host where the browser looks, or an unusable one, or the program
 *   that it names is missing; in Firefox also what is `forbidden` elsewhere.
 * - `forbidden`: the manifest is there and does not name this extension, a policy of the browser's
 *   forbids the host, or the extension lacks the permission "nativeMessaging".
 * - `exited`: the host could not be run, or has ended.
 * - `mute`: the host did not answer the greeting in time.
 * - `too large`: the host sent more than the browser takes, 1,048,576 bytes. Chromium has the same
 *   text for a host that ended while a request was on its way to it.
 * - `version mismatch`: the host does not speak this module's version of the protocol.
 * - `failed`: the browser said something else; see `browserText`. Before the greeting's answer it is
 *   as a rule a program that is no native messaging host, or a host that ended at once.
 * - `closed`: `close()` was called.
 *
 * Of one request, while the link lives on:
 * - `refused`: the host answered, with an error; see `reply`.
 * - `time limit`: the host did not answer in time. The command may still be carried out.
 * - `too large`: the browser would not take the request (64 MiB in Chromium).
 * - `interrupted`: only in pages; the browser stopped the background script before the answer. The
 *   command may have been carried out.
 */
export type Reason = "not found" | "forbidden" | "exited" | "mute" | "too large" | "version mismatch" | "failed" | "closed" | "refused" | "time limit" | "interrupted";
/** What this module rejects with; `reason` is for programs, `message` for those who read logs. */
export declare class CorvaneError extends Error {
    readonly name = "CorvaneError";
    readonly reason: Reason;
    /** With `refused` and `version mismatch`: the whole reply. */
    readonly reply: Reply | undefined;
    /** What the browser said when the link broke, if it said anything; its wording may change. */
    readonly browserText: string | undefined;
    constructor(reason: Reason, message: string, reply?: Reply, browserText?: string);
}
/**
 * The reason behind what the browser said of a port that closed.
 *
 * `isGreeted` says whether the host had answered the greeting. What is no frame to the browser then
 * is, as a rule, one that is too large: a host that answered seldom ends just as it is written to.
 * What comes from a program that never was greeted is mere output, the first bytes of which were
 * read as a length, or it has ended at once.
 */
export declare function reasonOf(browserText: string | undefined, isGreeted: boolean): Reason;
