/**
 * What extension and host say to each other: names, shapes and nothing that runs. The repository's
 * docs/protocol.md says the same in prose, with examples.
 */
/** The name under which browsers know the host; override it if your product's build does. */
export const HOST_NAME = "com.corvane.nm";
/** The version of the protocol that this module speaks. */
export const API_VERSION = "1";
/** The `requestId` of what the host sends unasked. */
export const PUSH_ID = "CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID";
