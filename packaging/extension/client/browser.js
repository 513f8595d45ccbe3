/** The little of the browsers' own interface that the client needs; tests put their own in. */
export const systemClock = {
    now: () => Date.now(),
    after(milliseconds, action) {
        const timer = setTimeout(action, milliseconds);
        return () => clearTimeout(timer);
    },
};
/** Firefox keeps its own interface beside the other's; it is the one that gives `port.error`. */
export function browserRuntime() {
    const scope = globalThis;
    return scope.browser?.runtime ?? scope.chrome?.runtime ?? {};
}
