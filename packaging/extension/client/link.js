/**
 * Settles as `promise` does. If `signal` is aborted first, calls `abandon` and rejects with the
 * signal's reason.
 */
export function abortable(promise, signal, abandon = () => { }) {
    if (!signal)
        return promise;
    return new Promise((resolve, reject) => {
        const abort = () => {
            abandon();
            reject(signal.reason);
        };
        signal.addEventListener("abort", abort);
        promise.then(resolve, reject).finally(() => signal.removeEventListener("abort", abort));
    });
}
/** Reports what a listener throws as an uncaught error; the other listeners are still called. */
export function guarded(listen) {
    try {
        listen();
    }
    catch (error) {
        queueMicrotask(() => {
            throw error;
        });
    }
}
