/** The messages between the background script and the pages of one extension. */
import { CorvaneError } from "./reasons.js";
/** The name of the ports between them; an extension may use others beside. */
export const PORT_NAME = "corvane-nm-client";
/** Anything but a `CorvaneError` is a mistake in the request, such as what JSON can't express. */
export function plainError(error) {
    if (!(error instanceof CorvaneError))
        return { reason: "failed", message: String(error) };
    const { reason, message, reply, browserText } = error;
    return { reason, message, reply, browserText };
}
export function errorFrom({ reason, message, reply, browserText }) {
    return new CorvaneError(reason, message, reply, browserText);
}
/** The same link with its error, if it has one, in another form. */
export function withError(link, convert) {
    if (link.state === "waiting")
        return { ...link, error: convert(link.error) };
    if (link.state !== "connecting")
        return link;
    return link.error ? { state: "connecting", error: convert(link.error) } : { state: "connecting" };
}
