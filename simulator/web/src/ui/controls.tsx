import type { ComponentChildren } from "preact";
import { useId } from "preact/hooks";
import { Icon, type IconName } from "./icons";

export function Button(props: {
  label: string;
  icon?: IconName;
  onClick?: () => void;
  look?: "plain" | "primary" | "danger" | "quiet";
  disabled?: boolean;
  /** Shows only the icon; the label stays for screen readers. */
  iconOnly?: boolean;
  keys?: string;
}) {
  const { label, icon, onClick, look = "plain", disabled, iconOnly, keys } = props;
  return (
    <button
      type="button"
      class={`button ${look}${iconOnly ? " icon-only" : ""}`}
      onClick={onClick}
      disabled={disabled ?? false}
      aria-label={iconOnly ? label : undefined}
      aria-keyshortcuts={keys}
      title={iconOnly ? label : undefined}
    >
      {icon && <Icon name={icon} size={18} />}
      {!iconOnly && <span>{label}</span>}
    </button>
  );
}

export function Switch(props: {
  label: string;
  checked: boolean;
  onChange: (checked: boolean) => void;
  disabled?: boolean;
  hint?: string;
}) {
  const { label, checked, onChange, disabled, hint } = props;
  const id = useId();
  return (
    <label class="switch">
      <span class="switch-text">
        {label}
        {hint && (
          <small class="hint" id={id}>
            {hint}
          </small>
        )}
      </span>
      <input
        type="checkbox"
        role="switch"
        checked={checked}
        disabled={disabled ?? false}
        aria-describedby={hint ? id : undefined}
        onChange={(event) => onChange(event.currentTarget.checked)}
      />
      <span class="switch-track" aria-hidden="true" />
    </label>
  );
}

export function Select<T extends string>(props: {
  label: string;
  value: T;
  choices: readonly (readonly [T, string])[];
  onChange: (value: T) => void;
  disabled?: boolean;
}) {
  const { label, value, choices, onChange, disabled } = props;
  return (
    <label class="field">
      <span>{label}</span>
      <select
        value={value}
        disabled={disabled ?? false}
        onChange={(event) => onChange(event.currentTarget.value as T)}
      >
        {choices.map(([key, text]) => (
          <option key={key} value={key} selected={key === value}>
            {text}
          </option>
        ))}
      </select>
    </label>
  );
}

export function Field(props: {
  label: string;
  value: string;
  /** When the user has finished: leaves the field, or presses Enter. */
  onCommit: (value: string) => void;
  type?: "text" | "number";
  placeholder?: string;
  step?: string;
  suggestions?: readonly string[];
  disabled?: boolean;
}) {
  const { label, value, onCommit, type = "text", placeholder, step, suggestions, disabled } = props;
  const list = useId();
  return (
    <label class="field">
      <span>{label}</span>
      <input
        type={type}
        value={value}
        placeholder={placeholder}
        step={step}
        disabled={disabled ?? false}
        list={suggestions ? list : undefined}
        spellcheck={false}
        onChange={(event) => onCommit(event.currentTarget.value)}
      />
      {suggestions && (
        <datalist id={list}>
          {suggestions.map((text) => (
            <option key={text} value={text} />
          ))}
        </datalist>
      )}
    </label>
  );
}

/** Something that the user should know, beside what it is about. */
export function Note(props: { look?: "warning" | "info"; children: ComponentChildren }) {
  const { look = "warning", children } = props;
  return (
    <p class={`note ${look}`}>
      <Icon name={look === "warning" ? "warning" : "help"} size={16} />
      <span>{children}</span>
    </p>
  );
}

/** Opens the file chooser, and looks like a button. */
export function FileButton(props: {
  label: string;
  icon: IconName;
  accept: string;
  multiple?: boolean;
  disabled?: boolean;
  onFiles: (files: File[]) => void;
}) {
  return (
    <label class="button plain file-button">
      <Icon name={props.icon} size={18} />
      <span>{props.label}</span>
      <input
        type="file"
        accept={props.accept}
        multiple={props.multiple ?? false}
        disabled={props.disabled ?? false}
        onChange={(event) => {
          const input = event.currentTarget;
          const files = [...(input.files ?? [])];
          input.value = "";
          if (files.length > 0) props.onFiles(files);
        }}
      />
    </label>
  );
}

export function Section(props: {
  title: string;
  icon: IconName;
  aside?: ComponentChildren;
  open: boolean;
  onToggle: (open: boolean) => void;
  children: ComponentChildren;
}) {
  return (
    <details
      class="section"
      open={props.open}
      onToggle={(event) => props.onToggle(event.currentTarget.open)}
    >
      <summary>
        <Icon name={props.icon} size={18} />
        <span class="section-title">{props.title}</span>
        {props.aside !== undefined && <span class="section-aside">{props.aside}</span>}
        <span class="section-mark">
          <Icon name="chevron" size={16} />
        </span>
      </summary>
      <div class="section-body">{props.children}</div>
    </details>
  );
}

export interface TabItem {
  key: string;
  label: string;
  /** Where there is little room. */
  short?: string;
  count?: number;
  content: () => ComponentChildren;
}

export function Tabs(props: {
  label: string;
  items: TabItem[];
  active: string;
  onChange: (key: string) => void;
}) {
  const { label, items, active, onChange } = props;
  const id = useId();
  const index = Math.max(
    0,
    items.findIndex((item) => item.key === active),
  );
  const move = (event: KeyboardEvent) => {
    const steps: Record<string, number> = { ArrowRight: 1, ArrowLeft: -1 };
    const by = steps[event.key];
    if (by === undefined) return;
    event.preventDefault();
    const next = items[(index + by + items.length) % items.length];
    if (!next) return;
    onChange(next.key);
    document.getElementById(`${id}-tab-${next.key}`)?.focus();
  };
  return (
    <div class="tabs">
      <div class="tab-list" role="tablist" aria-label={label} onKeyDown={move}>
        {items.map((item, at) => (
          <button
            key={item.key}
            type="button"
            role="tab"
            class="tab"
            id={`${id}-tab-${item.key}`}
            aria-selected={at === index}
            aria-controls={`${id}-panel`}
            tabIndex={at === index ? 0 : -1}
            onClick={() => onChange(item.key)}
          >
            {item.short && <span class="tab-short">{item.short}</span>}
            <span class="tab-long">{item.label}</span>
            {item.count ? <span class="count">{item.count}</span> : null}
          </button>
        ))}
      </div>
      <div
        class="tab-panel"
        role="tabpanel"
        id={`${id}-panel`}
        aria-labelledby={`${id}-tab-${items[index]?.key}`}
        tabIndex={0}
      >
        {items[index]?.content()}
      </div>
    </div>
  );
}
