/** The little of the browsers' own interface that the client needs; tests put their own in. */
export const systemClock = {
    now: () => Date.now(),
    after(milliseconds, action) {
        const timer = setTimeout(action, milliseconds);
        return () => clearTimeout(timer);
    },
};
/** What native messaging needs; empty outside an extension. */
export function browserRuntime() {
    return runtimeOf() ?? {};
}
/** What background script and pages need to talk; throws outside an extension. */
export function extensionRuntime() {
    const runtime = runtimeOf();
    if (!runtime)
        throw new Error("This is no page and no background script of an extension.");
    return runtime;
}
/** Firefox keeps its own interface beside the other's; it is the one that gives `port.error`. */
function runtimeOf() {
    const scope = globalThis;
    return scope.browser?.runtime ?? scope.chrome?.runtime;
}
