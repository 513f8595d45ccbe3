/**
 * What extension and host say to each other: names, shapes and nothing that runs. The repository's
 * docs/protocol.md says the same in prose, with examples.
 */
/** The name under which browsers know the host; override it if your product's build does. */
export declare const HOST_NAME = "com.corvane.nm";
/** The version of the protocol that this module speaks. */
export declare const API_VERSION = "1";
/** The `requestId` of what the host sends unasked. */
export declare const PUSH_ID = "CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID";
/** The main application, as the host saw it when it began the reply. Every reply carries it. */
export interface AppState {
    /** Always true: without the product there is no host. */
    isInstalled: boolean;
    /** Whether the main application runs, and answers. */
    isRunning: boolean;
    /** Whether protection is on; false also when the main application does not run. */
    isProtectionEnabled: boolean;
    /** When the state was looked at: `2026-01-31T12:00:00.000+00:00`, always in this form, in UTC. */
    lastCheckTime: string;
    /** The main application's language, such as `en`; may be empty. */
    locale: string;
}
/** What is known of the certificate that a page's own server gave. */
export type CertificateStatus = "valid" | "invalid" | "bypassed" | "notfound" | "";
/** What `init` tells of the host. */
export interface HostInfo {
    /** The host's own version, such as `2.4.8.797`. */
    version: string;
    /** The version of the protocol that the host speaks. */
    apiVersion: string;
    /** Whether the host accepts the version that it was asked for. */
    isValidatedOnHost: boolean;
    platform: string;
}
/** What `getCurrentFilteringState` tells of one page. */
export interface PageState {
    /** Whether the page is filtered when it comes by HTTP. */
    isFilteringEnabled: boolean;
    /** Whether the page is filtered when it comes by HTTPS. */
    isHttpsFilteringEnabled: boolean;
    /** Whether a rule of the user's own concerns the page. */
    isPageFilteredByUserFilter: boolean;
    /** What was blocked on this page. */
    blockedAdsCount: number;
    /** What was blocked altogether. */
    totalBlockedCount: number;
    /** Who issued the server's own certificate; empty if there is none. */
    originalCertIssuer: string;
    originalCertStatus: CertificateStatus;
}
/** A page: its address, and the port that it came from, 443 or 80 as a rule. */
export interface PageAddress {
    url: string;
    /** A whole number; `443.0` is one in JavaScript, a text is none. */
    port: number;
}
/** The thirteen commands: what each wants in `parameters`, and what its reply holds there. */
export interface Commands {
    /** The greeting; the client sends it by itself. */
    init: {
        parameters: {
            apiVersion: string;
        };
        result: HostInfo;
    };
    /** Looks at the main application; the answer is in `appState`. */
    getCurrentAppState: {
        parameters: undefined;
        result: undefined;
    };
    /** Looks at one page; with `forceStartApp` starts the main application and waits for it. */
    getCurrentFilteringState: {
        parameters: PageAddress & {
            forceStartApp: boolean;
        };
        result: PageState;
    };
    /** Switches protection, and waits for the main application to announce its new state. */
    setProtectionStatus: {
        parameters: {
            isEnabled: boolean;
        };
        result: undefined;
    };
    /** Switches filtering of a page by HTTP and by HTTPS, and waits for the new state. */
    setFilteringStatus: {
        parameters: {
            url: string;
            isEnabled: boolean;
            isHttpsEnabled: boolean;
        };
        result: undefined;
    };
    addRule: {
        parameters: {
            ruleText: string;
        };
        result: undefined;
    };
    removeRule: {
        parameters: {
            ruleText: string;
        };
        result: undefined;
    };
    /** Removes the user's rules that concern a page, and waits for the new state. */
    removeCustomRules: {
        parameters: {
            url: string;
        };
        result: undefined;
    };
    /** Has the main application show the certificate that the server itself gave. */
    openOriginalCert: {
        parameters: {
            domain: string;
            port: number;
        };
        result: undefined;
    };
    /** Reports a page; the address of the report may be empty. */
    reportSite: {
        parameters: {
            url: string;
            referrer: string;
            userAgent: string;
        };
        result: {
            reportUrl: string;
        };
    };
    openFilteringLog: {
        parameters: undefined;
        result: undefined;
    };
    openSettings: {
        parameters: undefined;
        result: undefined;
    };
    updateApp: {
        parameters: undefined;
        result: undefined;
    };
}
export type CommandName = keyof Commands;
/** One request, as it goes to the host. */
export interface Request {
    type: string;
    /** Comes back as the reply's `requestId`; replies may overtake each other. */
    id: string;
    parameters?: object;
}
/** One reply, or a push, as it comes from the host. */
export interface Reply<Command extends CommandName = CommandName> {
    /** The host's own count of its replies, in digits. */
    id: string;
    requestId: string;
    result: "ok" | "error";
    /** With the result "error": what went wrong, in English; may be missing. */
    data?: string;
    parameters: Commands[Command]["result"];
    appState: AppState;
}
