/** Settles as `promise` does, or rejects with the reason of `signal` if that is aborted first. */
export function abortable(promise, signal) {
    if (!signal)
        return promise;
    return new Promise((resolve, reject) => {
        const abort = () => reject(signal.reason);
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
