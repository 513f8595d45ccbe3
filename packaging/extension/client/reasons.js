/** What this module rejects with; `reason` is for programs, `message` for those who read logs. */
export class CorvaneError extends Error {
    name = "CorvaneError";
    reason;
    /** With `refused` and `version mismatch`: the whole reply. */
    reply;
    /** What the browser said when the link broke, if it said anything; its wording may change. */
    browserText;
    constructor(reason, message, reply, browserText) {
        super(message);
        this.reason = reason;
        this.reply = reply;
        this.browserText = browserText;
    }
}
/** What the browsers say when a port closes; Firefox says nothing at all when the host has exited. */
const TEXTS = [
    [/host not found|No such native application|An unexpected error occurred/, "not found"],
    [/is forbidden|disabled by/, "forbidden"],
    [/has exited/, "exited"],
];
/**
 * Chromium has one text for whatever is no frame to it, and for a host that ended when it is the
 * broken pipe that it notices first; Firefox names the size and its limit.
 */
const NO_FRAME = /communicating with the native|exceeds the limit/;
/**
 * The reason behind what the browser said of a port that closed.
 *
 * `isGreeted` says whether the host had answered the greeting. What is no frame to the browser then
 * is, as a rule, one that is too large: a host that answered seldom ends just as it is written to.
 * What comes from a program that never was greeted is mere output, the first bytes of which were
 * read as a length, or it has ended at once.
 */
export function reasonOf(browserText, isGreeted) {
    if (!browserText)
        return "exited";
    for (const [pattern, reason] of TEXTS) {
        if (pattern.test(browserText))
            return reason;
    }
    return isGreeted && NO_FRAME.test(browserText) ? "too large" : "failed";
}
