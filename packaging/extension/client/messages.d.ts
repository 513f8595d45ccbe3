/** The messages between the background script and the pages of one extension. */
import type { LinkWith } from "./link.js";
import type { AppState, Reply } from "./protocol.js";
import { CorvaneError } from "./reasons.js";
import type { Reason } from "./reasons.js";
/** The name of the ports between them; an extension may use others beside. */
export declare const PORT_NAME = "corvane-nm-client";
/** A `CorvaneError` as it passes through a port, which keeps no classes. */
export interface PlainError {
    reason: Reason;
    message: string;
    reply?: Reply | undefined;
    browserText?: string | undefined;
}
export interface PageRequest {
    id: number;
    type: string;
    parameters?: object | undefined;
    timeLimit?: number | undefined;
}
/** From a page: skips a pause, asks the host, or abandons the request of that identifier. */
export type PageMessage = {
    connect: true;
} | {
    abort: number;
} | PageRequest;
/** To a page: what is new, and the outcome of its requests. */
export type BackgroundMessage = {
    link: LinkWith<PlainError>;
} | {
    appState: AppState;
    isPushed: boolean;
} | {
    id: number;
    reply: Reply;
} | {
    id: number;
    error: PlainError;
};
/** Anything but a `CorvaneError` is a mistake in the request, such as what JSON can't express. */
export declare function plainError(error: unknown): PlainError;
export declare function errorFrom({ reason, message, reply, browserText }: PlainError): CorvaneError;
/** The same link with its error, if it has one, in another form. */
export declare function withError<From, To>(link: LinkWith<From>, convert: (error: From) => To): LinkWith<To>;
